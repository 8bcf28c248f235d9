// SPDX-License-Identifier: Apache-2.0
//
// What the daemon does that does not show on the wire.
#include "fake_store.h"

#include "daemon/auth.h"
#include "daemon/request.h"
#include "req_func/reply.h"

#include <cstring>

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
    status_t status = {0x01020304, 5, 0, 0xFF000000};
    EXPECT_EQ(status_to_LE(&status), 0);
    static constexpr uint8_t STATUS[16] = {4, 3, 2, 1, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF};
    EXPECT_EQ(memcmp(&status, STATUS, sizeof STATUS), 0);
}

using Authentication = StoreTest;

TEST_F(Authentication, NewHashesAreSaltedAndAccepted)
{
    std::string strDigits;
    for (const int iValue : {-5, 0, 1, 2, 11, 12, 37, 38, 63, 64})
        strDigits += int_to_char(iValue);
    EXPECT_EQ(strDigits, "../09AZazz");
    const std::string strFirst = gen_salt(), strSecond = gen_salt();
    EXPECT_EQ(strFirst.size(), 8u);
    EXPECT_EQ(strFirst.substr(0, 2) + strFirst.substr(0, 2), strFirst.substr(4));
    EXPECT_NE(strFirst, strSecond);
    const std::string strHash = gen_password_hash("new");
    EXPECT_EQ(strHash.substr(0, 3), "$1$");
    g_fakeStore.values = {{"system username", "sysop"}, {"system encrypted-password", strHash}};
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
    EXPECT_EQ(g_fakeStore.takeLog(),
              "get system version; get management mac; get system system-name; get management ip; "
              "get management mask; get management ipv6-status; get management mac; get management ip; ");
    EXPECT_EQ(call(funcDiscover), 505);
    EXPECT_EQ(g_fakeStore.takeLog(),
              "get system model; get system version; get management mac; get system system-name; "
              "get management ip; get host dns-via-dhcp; get management mask; get ip-route gateway; "
              "get host dns-via-dhcp; get host static-dns-1; get host dns-via-dhcp; get host static-dns-2; "
              "get management dhcp-status; get management ipv6-status; "
              "get management static-ipv6-prefix-length; get management ipv6-status; "
              "get management ipv6-autoconfig-status; get management mac; get management ip; ");
    g_fakeStore.values = {{"management interface", "brtrunk"}};
    EXPECT_EQ(call(funcQueryNetStatus), 42);
    EXPECT_EQ(g_fakeStore.takeLog(),
              "get management interface; get management dhcp-status; get management ip; get management ip; ");
}

TEST_F(Handlers, AbortWhenTheReplyDoesNotFit)
{
    EXPECT_EQ(call(funcQueryNeighbor, 253), 253);
    EXPECT_DEATH(call(funcQueryNeighbor, 252),
                 "req_func:[0-9]+: funcQueryNeighbor: Assertion "
                 "\"uRetBufferLen>=\\(pRetMsg->uBodyLen\\+sizeof\\(message_t\\)\\)\" failed");
    EXPECT_DEATH(call(funcReboot, 37), "req_func:[0-9]+: funcReboot: Assertion");
    EXPECT_DEATH(call(funcFirmwareUpgrade, 151), "req_func.c:[0-9]+: funcFirmwareUpgrade: Assertion");
    EXPECT_DEATH(call(funcVLAN_Config, 37), "req_func.c:[0-9]+: funcVLAN_Config: Assertion");
}
