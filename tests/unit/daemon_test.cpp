// SPDX-License-Identifier: Apache-2.0
//
// What the daemon does with its neighbours replaced: conversions, authentication, and the handlers' side that does not
// show on the wire.
#include "fake_store.h"

#include "daemon/auth.h"
#include "daemon/request.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"

#include <gmock/gmock.h>

#include <crypt.h>

#include <cstring>

using testing::ElementsAre;

TEST(Message, ConvertsItsSixNumbersAndNothingElse)
{
    static constexpr uint8_t WIRE[22] = {0xFD, 0xFD, 0x34, 0x12, 0xA1, 0x00, 1,    2,    3,    4,    5,
                                         6,    192,  168,  0,    50,   0x77, 0x78, 0x02, 0x01, 0xE3, 0x01};
    message_t message;
    memcpy(&message, WIRE, sizeof message);
    EXPECT_EQ(message_to_CPU(&message), 0);
    EXPECT_EQ(message.uReqTag, 0x1234);
    EXPECT_EQ(message.uOP_Code, 0x00A1);
    EXPECT_EQ(message.uFlag, 0x7877);
    EXPECT_EQ(message.uVersion, 0x0102);
    EXPECT_EQ(message.uBodyLen, 483);
    EXPECT_THAT(message.ucIP, ElementsAre(192, 168, 0, 50));
    EXPECT_EQ(message_to_LE(&message), 0);
    EXPECT_EQ(memcmp(&message, WIRE, sizeof WIRE), 0);

    status_t status = {0x01020304, 5, 0, 0xFF000000};
    EXPECT_EQ(status_to_LE(&status), 0);
    static constexpr uint8_t STATUS[16] = {4, 3, 2, 1, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF};
    EXPECT_EQ(memcmp(&status, STATUS, sizeof STATUS), 0);
}

TEST(Message, ConvertsArraysByBytesCovered)
{
    for (const auto &[iLen, iCovered] : {std::pair{-1, 0}, {0, 0}, {1, 2}, {3, 4}, {4, 4}}) {
        uint8_t ucBytes[] = {1, 2, 3, 4, 5, 6};
        uint16_t uValues[3];
        memcpy(uValues, ucBytes, sizeof uValues);
        EXPECT_EQ(u16_array_to_CPU(uValues, iLen), iCovered);
        EXPECT_EQ(uValues[0], iCovered > 0 ? 0x0201 : swapLe16(0x0201));
        EXPECT_EQ(uValues[1], iCovered > 2 ? 0x0403 : swapLe16(0x0403));
        EXPECT_EQ(uValues[2], swapLe16(0x0605));
        EXPECT_EQ(u16_array_to_LE(uValues, iLen), iCovered);
        EXPECT_EQ(memcmp(uValues, ucBytes, sizeof ucBytes), 0);
    }
}

// Records lie behind a header of 22 bytes and credentials of 128: at any address.
TEST(Message, FieldsAreLittleEndianAtEveryAddress)
{
    for (size_t uShift = 0; uShift < 8; uShift++) {
        uint8_t ucBytes[sizeof(DiscoverReply) + 8] = {};
        auto *const pBody = reinterpret_cast<DiscoverReply *>(ucBytes + uShift);
        pBody->uProductType.put(0x0102);
        pBody->uHardwareSpec.put(0x0A0B0C0D);
        static constexpr uint8_t EXPECTED[6] = {2, 1, 0x0D, 0x0C, 0x0B, 0x0A};
        EXPECT_EQ(memcmp(ucBytes + uShift + 192, EXPECTED, sizeof EXPECTED), 0);
        EXPECT_EQ(pBody->uHardwareSpec.get(), 0x0A0B0C0Du);
    }
}

class Authentication : public StoreTest
{
protected:
    static void store(const std::string &strUser, const std::string &strHash)
    {
        g_fakeStore.values = {{"system username", strUser}, {"system encrypted-password", strHash}};
    }
    static std::string hashOf(const char *strPassword, const char *strSetting)
    {
        const char *const strHash = crypt(strPassword, strSetting);
        return strHash ? strHash : "";
    }
};

TEST_F(Authentication, ThePasswordDecides)
{
    const std::string strHash = hashOf("secret", "$1$abcdefgh");
    ASSERT_EQ(strHash.size(), 34u);
    const std::string strLong = strHash + std::string(30, 'x');
    struct Case {
        const char *strWhat;
        std::string strUser, strHash;
        const char *strPassword;
        int iResult;
    };
    for (const Case &c : {
             Case{"right", "sysop", strHash, "secret", 0},
             Case{"wrong password", "sysop", strHash, "Secret", -1},
             Case{"empty password", "sysop", strHash, "", -1},
             Case{"another stored user", "admin", strHash, "secret", -1},
             Case{"stored user that only begins right", "sysop2", strHash, "secret", -1},
             Case{"no user", "", strHash, "secret", -1},
             Case{"no hash", "sysop", "", "secret", -1},
             Case{"no hash, no password", "sysop", "", "", -1},
             Case{"a hash that crypt refuses", "sysop", "*0", "secret", -1},
             Case{"a hash that is not one", "sysop", ":", "secret", -1},
             Case{"a hash that fits once cut", "sysop", strLong, "secret", -1},
             Case{"63 characters", "sysop", hashOf("secret", "$5$rounds=1000$abcd"), "secret", 0},
             Case{"64 characters, whole but too long", "sysop", hashOf("secret", "$5$rounds=1000$abcde"), "secret", -1},
         }) {
        store(c.strUser, c.strHash);
        EXPECT_EQ(sysCheckUser("anybody", c.strPassword), c.iResult) << c.strWhat;
    }
}

TEST_F(Authentication, CredentialsAreBase64OfAtMostAFullField)
{
    const std::string strPassword48(48, 'p');
    store("sysop", hashOf(strPassword48.c_str(), "$1$abcdefgh"));
    std::string strBody = "c3lzb3A=" + std::string(56, '\0');
    for (int i = 0; i < 16; i++)
        strBody += "cHBw"; // 64 characters, no NUL
    strBody += "cHBwIGJleW9uZA==";
    EXPECT_TRUE(checkCredentials(reinterpret_cast<const uint8_t *>(strBody.data())));
    EXPECT_STREQ(g_strCurrentUser, "sysop");
    strBody.replace(0, 64, 64, '!');
    EXPECT_TRUE(checkCredentials(reinterpret_cast<const uint8_t *>(strBody.data()))) << "the name is not looked at";
    EXPECT_STREQ(g_strCurrentUser, "");
    strBody[64] = 'd';
    EXPECT_FALSE(checkCredentials(reinterpret_cast<const uint8_t *>(strBody.data())));
}

TEST_F(Authentication, NewHashesAreSaltedAndAccepted)
{
    EXPECT_EQ(std::string({int_to_char(-5), int_to_char(0), int_to_char(1), int_to_char(2), int_to_char(11),
                           int_to_char(12), int_to_char(37), int_to_char(38), int_to_char(63), int_to_char(64)}),
              "../09AZazz");
    const std::string strFirst = gen_salt(), strSecond = gen_salt();
    EXPECT_EQ(strFirst.size(), 8u);
    EXPECT_EQ(strFirst.substr(0, 2) + strFirst.substr(0, 2), strFirst.substr(4));
    EXPECT_NE(strFirst, strSecond);
    const std::string strHash = gen_password_hash("new");
    EXPECT_EQ(strHash.substr(0, 3), "$1$");
    store("sysop", strHash);
    EXPECT_EQ(sysCheckUser("sysop", "new"), 0);
}

class Handlers : public StoreTest
{
protected:
    alignas(message_t) uint8_t m_ucReply[VXP_BUFFER_SIZE] = {};
    uint8_t m_ucBody[VXP_BUFFER_SIZE] = {};
    message_t m_request = {VXP_ID_REQUEST, 1, 2, {}, {}, VXP_TO_ONE, 2, 0};

    uint16_t call(RequestHandler *pHandler, uint16_t uBufferLen = VXP_BUFFER_SIZE)
    {
        return pHandler(&m_request, m_ucBody, reinterpret_cast<message_t *>(m_ucReply), uBufferLen);
    }
};

TEST_F(Handlers, ReadTheStoreInTheOrderOfTheirFields)
{
    EXPECT_EQ(call(funcQueryNeighbor), 253);
    EXPECT_THAT(g_fakeStore.takeLog(),
                ElementsAre("get system version", "get management mac", "get system system-name", "get management ip",
                            "get management mask", "get management ipv6-status", "get management mac",
                            "get management ip"));
    EXPECT_EQ(call(funcDiscover), 505);
    EXPECT_THAT(g_fakeStore.takeLog(),
                ElementsAre("get system model", "get system version", "get management mac", "get system system-name",
                            "get management ip", "get host dns-via-dhcp", "get management mask", "get ip-route gateway",
                            "get host dns-via-dhcp", "get host static-dns-1", "get host dns-via-dhcp",
                            "get host static-dns-2", "get management dhcp-status", "get management ipv6-status",
                            "get management static-ipv6-prefix-length", "get management ipv6-status",
                            "get management ipv6-autoconfig-status", "get management mac", "get management ip"));
    g_fakeStore.values = {{"management interface", "brtrunk"}};
    EXPECT_EQ(call(funcQueryNetStatus), 42);
    EXPECT_THAT(g_fakeStore.takeLog(), ElementsAre("get management interface", "get management dhcp-status",
                                                   "get management ip", "get management ip"));
}

TEST_F(Handlers, OnlyResetsAndRebootActOnTheCallAfterTheReply)
{
    for (const RequestEntry *pEntry = g_ReqFunc; pEntry->pHandler; pEntry++)
        EXPECT_EQ(pEntry->pHandler(nullptr, nullptr, nullptr, 0), 0) << pEntry->uOP_Code;
    EXPECT_THAT(g_fakeStore.log, ElementsAre("get management dhcp-status", "set system factory-reset=yes",
                                             "set system factory-reset=yes", "set system reboot=yes"));
}

TEST_F(Handlers, AbortWhenTheReplyDoesNotFit)
{
    EXPECT_EQ(call(funcQueryNeighbor, 253), 253);
    EXPECT_DEATH(call(funcQueryNeighbor, 252),
                 "req_func:[0-9]+: funcQueryNeighbor: Assertion "
                 "\"uRetBufferLen>=\\(pRetMsg->uBodyLen\\+sizeof\\(message_t\\)\\)\" failed");
    EXPECT_DEATH(call(funcDiscover, 504), "req_func:[0-9]+: funcDiscover: Assertion");
    EXPECT_DEATH(call(funcUserVerify, 25), "req_func:[0-9]+: funcUserVerify: Assertion");
    EXPECT_DEATH(call(funcReboot, 37), "req_func:[0-9]+: funcReboot: Assertion");
    EXPECT_DEATH(call(funcFirmwareUpgrade, 151), "req_func.c:[0-9]+: funcFirmwareUpgrade: Assertion");
    EXPECT_DEATH(call(funcVLAN_Config, 37), "req_func.c:[0-9]+: funcVLAN_Config: Assertion");
}
