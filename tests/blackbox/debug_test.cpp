// SPDX-License-Identifier: Apache-2.0
//
// The debug log and the dumps of what is received.
#include "tests/blackbox/effects.h"

namespace
{

using BlackboxDebug = Blackbox;

const Bytes HEARD_REPLY = hex("ee fe") + request(0xA1, 1, "a reply of another device").substr(2);

TEST_F(BlackboxDebug, StartUp)
{
    AccessPoint &device = start({.strOptions = "--debug"});
    const bool bBig = isDaemonBigEndian();
    const std::string strValue = bBig ? "01020304" : "04030201", strSwapped = bBig ? "04030201" : "01020304";
    EXPECT_THAT(device.err(), testing::MatchesRegex("vxpd: [JFMASOND][a-z][a-z] [ 1-3][0-9] 20[0-9][0-9] "
                                                    "[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\n"
                                                    "vxpd: This a " +
                                                    std::string(bBig ? "big" : "little") +
                                                    " endian system.\nvxpd: buf= 01 02 03 04, value=" + strValue +
                                                    "\nvxpd: value.be32toh.=" + strSwapped +
                                                    "\nvxpd: value.le32toh.=" + strValue + "\n"));
}

class EffectsDebug : public Effects
{
protected:
    EffectsDebug() : Effects("-d", "2>&1") {}
};

const std::string GOT = "vxpd: Get a request. ID=0xfdfd | ";

// Of an operation that is handled. What is read before the log's line is so on both calls.
std::string handled(int iCode, const std::string &strFunction, const std::string &strSize, const std::string &strDone,
                    const std::string &strRead = "", const std::string &strTrigger = "")
{
    const std::string strCall = strRead + "vxpd: FUNC:" + strFunction + "... | ";
    return GOT + formatted("vxpd: process request 0x%04x begin... | ", iCode) + strCall + strDone +
           "vxpd: sending reply(cnt=" + strSize + ")... | reply " + strSize + " | " + strCall + strTrigger +
           "vxpd: done. | ";
}

struct Logged {
    Bytes datagram;
    std::string strLines;
};

const Logged LOGGED[] = {
    {request(0xA1, 1), handled(0xA1, "funcDiscover", "505", "vxpd: DNS2=192.0.2.2 | ")},
    {request(0xA7, 1, CREDENTIALS + zeros(129) + hex("f1 f2")),
     handled(0xA7, "funcSetNetAdvSettings", "38", "vxpd: bodylen=0 | vxpd: 242, 241 | ")},
    {request(0xAA, 1, CREDENTIALS), handled(0xAA, "funcFactoryResetWithoutIP", "38", "",
                                            "get management static-mask | ", "set system factory-reset=yes | ")},
    {request(0xA5, 1, zeros(128)),
     GOT + "vxpd: process request 0x00a5 begin... | vxpd: FUNC:_funcAuthFail... | reply 22 | "},
    {request(0x99, 1), GOT + "pMsg->uOP_Code = 153 not support | vxpd: FUNC:_funcNotSupport... | "
                             "vxpd: sending func not support... | reply 22 | "},
    {request(0xD0, 1, {}, ALL), GOT},
    {HEARD_REPLY, "vxpd: Get a message. ID=0xfeee | "},
    {hex("ff ff") + request(0xA0, 1).substr(2), ""},
    {{}, "vxpd: process interface 0 done. | "},
};

TEST_F(EffectsDebug, Log)
{
    m_device.run("umount /Volume_1");
    for (const Logged &is : LOGGED) {
        prepare("@reads: management static-mask");
        askAll({is.datagram});
        const std::string strLines = is.strLines + handled(0xD0, "funcQueryNeighbor", "253", "");
        eventually([&] { return noted("effects") + " | " == strLines; }, 2s);
        EXPECT_EQ(noted("effects") + " | ", strLines);
    }
    EXPECT_EQ(m_device.run("ls /Volume_1").strOut, "");
}

// The number is used up also when the file cannot be made; an older file is replaced.
TEST_F(BlackboxDebug, DumpsAreTheDatagrams)
{
    constexpr char BEFORE[] = "mkdir /Volume_1/vxp_req_0005; seq 100 >/Volume_1/vxp_req_0006";
    AccessPoint &device = start({.strOptions = "-d", .strBefore = BEFORE});
    const Bytes ignored = request(0x103, 1, hex("00 01 02 fe ff"), ALL, TO_ALL), query = request(0xD0, 2);
    send(ignored);
    send(HEARD_REPLY);
    send(hex("ff ff") + query.substr(2)); // an announcement is not kept
    send(hex("fd fd"));
    send(request(0x99, 3, Bytes(5000, 'x')).substr(0, 5000)); // received up to 4096 bytes
    reply();
    for (int i = 0; i < 3; i++)
        EXPECT_FALSE(ask(query).empty());
    const std::string strFolder = device.folder() + "/volume_1/";
    EXPECT_EQ(device.run("cd /Volume_1; echo *").strOut,
              "vxp_msg_0001 vxp_req_0000 vxp_req_0002 vxp_req_0003 vxp_req_0004 vxp_req_0005 vxp_req_0006\n");
    EXPECT_TRUE(same(ignored, readFile(strFolder + "vxp_req_0000")));
    EXPECT_TRUE(same(HEARD_REPLY, readFile(strFolder + "vxp_msg_0001")));
    EXPECT_TRUE(same(hex("fd fd"), readFile(strFolder + "vxp_req_0002")));
    EXPECT_TRUE(same(request(0x99, 3, Bytes(4096 - 22, 'x')), readFile(strFolder + "vxp_req_0003")));
    EXPECT_TRUE(same(query, readFile(strFolder + "vxp_req_0004")));
    EXPECT_TRUE(same(query, readFile(strFolder + "vxp_req_0006")));
    for (const char *strLine :
         {"request message. save it to /Volume_1/vxp_req_0000", "reply message. save it to /Volume_1/vxp_msg_0001"})
        EXPECT_THAT(device.err(), testing::HasSubstr("\nreceived a " + std::string(strLine) + " now.\n"));
}

TEST_F(BlackboxDebug, DumpsOnlyWhereAskedAndMounted)
{
    const struct {
        const char *strOptions, *strFolder, *strFile; // where dumps are looked for, and what is there
    } cases[] = {
        {"-d -f /Volume_1/deep/down", "/Volume_1/deep/down", "vxp_req_0000\n"},
        {"", "/Volume_1", ""},
    };
    for (const auto &is : cases) {
        AccessPoint device("dumps", {.strOptions = is.strOptions});
        ASSERT_FALSE(announcement().empty());
        EXPECT_FALSE(ask(request(0xD0, 1)).empty());
        EXPECT_EQ(device.run(std::string("ls ") + is.strFolder).strOut, is.strFile);
        EXPECT_EQ(device.err().find("save it to") != std::string::npos, *is.strFile != '\0');
        EXPECT_TRUE(*is.strOptions || device.out() + device.err() == "") << device.err();
    }
}

} // namespace
