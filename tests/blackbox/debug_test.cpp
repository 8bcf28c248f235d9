// SPDX-License-Identifier: Apache-2.0
//
// The debug log and the dumps of what is received.
#include "tests/blackbox/driver.h"

#include <sstream>

namespace
{

using BlackboxDebug = Blackbox;

const Bytes HEARD_REPLY = hex("ee fe") + request(0xA1, 1, "a reply of another device").substr(2);

std::vector<std::string> filesIn(const AccessPoint &device, const std::string &strFolder)
{
    std::istringstream names(device.run("ls " + strFolder).strOut);
    return {std::istream_iterator<std::string>(names), {}};
}

TEST_F(BlackboxDebug, StartUp)
{
    AccessPoint &device = start({.strOptions = "--debug"});
    const std::string strOrder = isDaemonBigEndian() ? "vxpd: This a big endian system.\n"
                                                       "vxpd: buf= 01 02 03 04, value=01020304\n"
                                                       "vxpd: value(be32toh)=04030201\n"
                                                       "vxpd: value(le32toh)=01020304\n"
                                                     : "vxpd: This a little endian system.\n"
                                                       "vxpd: buf= 01 02 03 04, value=04030201\n"
                                                       "vxpd: value(be32toh)=01020304\n"
                                                       "vxpd: value(le32toh)=04030201\n";
    const size_t uFirst = device.err().find('\n') + 1;
    EXPECT_THAT(device.err().substr(0, uFirst),
                testing::MatchesRegex("vxpd: [JFMASOND][a-z][a-z] [ 1-3][0-9] 20[0-9][0-9] "
                                      "[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\n"));
    EXPECT_EQ(device.err().substr(uFirst), strOrder);
}

struct Logged {
    const char *strCase;
    Bytes datagram;
    std::string strLines;
};

// Of an operation that is handled.
std::string handled(const char *strCode, const std::string &strFunction, const char *strLength,
                    const char *strRead = "")
{
    const std::string strCall = "vxpd: FUNC:" + strFunction + "...\n";
    return std::string("vxpd: Get a request. ID=0xfdfd\nvxpd: process request 0x00") + strCode + " begin...\n" +
           strCall + strRead + "vxpd: sending reply(cnt=" + strLength + ")...\n" + strCall + "vxpd: done.\n";
}

const std::string GOT = "vxpd: Get a request. ID=0xfdfd\n", PROBE = handled("d0", "funcQueryNeighbor", "253");

const Logged LOGGED[] = {
    {"discovery", request(0xA1, 1), handled("a1", "funcDiscover", "505", "vxpd: DNS2=192.0.2.2\n")},
    {"user verification", request(0xA3, 1, CREDENTIALS), handled("a3", "funcUserVerify", "26")},
    {"wrong password", request(0xA5, 1, zeros(128)),
     GOT + "vxpd: process request 0x00a5 begin...\nvxpd: FUNC:_funcAuthFail...\n"},
    {"unknown operation", request(0x99, 1), GOT + "vxpd: FUNC:_funcNotSupport...\nvxpd: sending func not support...\n"},
    {"for another device", request(0xD0, 1, {}, ALL), GOT},
    {"a reply", HEARD_REPLY, "vxpd: Get a message. ID=0xfeee\n"},
    {"an announcement", hex("ff ff") + request(0xA0, 1).substr(2), ""},
    {"an empty datagram", {}, "vxpd: process interface 0 done.\n"},
};

TEST_F(BlackboxDebug, Log)
{
    AccessPoint &device = start({.strOptions = "-d", .strBefore = "umount /Volume_1"});
    for (const Logged &is : LOGGED) {
        SCOPED_TRACE(is.strCase);
        const size_t uBefore = device.err().size();
        askAll({is.datagram});
        const auto newLines = [&] { return device.err().substr(uBefore); };
        eventually([&] { return newLines() == is.strLines + PROBE; }, 2s);
        EXPECT_EQ(newLines(), is.strLines + PROBE);
    }
    EXPECT_THAT(filesIn(device, "/Volume_1"), testing::IsEmpty());
}

TEST_F(BlackboxDebug, DumpsAreTheDatagrams)
{
    AccessPoint &device = start({.strOptions = "-d"});
    const Bytes ignored = request(0x103, 1, hex("00 01 02 fe ff"), ALL, TO_ALL), query = request(0xD0, 2);
    send(ignored);
    send(HEARD_REPLY);
    send(hex("ff ff") + query.substr(2)); // an announcement is not kept
    send(hex("fd fd"));
    send(request(0x99, 3, Bytes(5000, 'x')).substr(0, 5000)); // received up to 4096 bytes
    reply();
    EXPECT_FALSE(ask(query).empty());
    const std::string strFolder = device.folder() + "/volume_1/";
    EXPECT_THAT(filesIn(device, "/Volume_1"),
                testing::ElementsAre("vxp_msg_0001", "vxp_req_0000", "vxp_req_0002", "vxp_req_0003", "vxp_req_0004"));
    EXPECT_TRUE(same(ignored, readFile(strFolder + "vxp_req_0000")));
    EXPECT_TRUE(same(HEARD_REPLY, readFile(strFolder + "vxp_msg_0001")));
    EXPECT_TRUE(same(hex("fd fd"), readFile(strFolder + "vxp_req_0002")));
    EXPECT_TRUE(same(request(0x99, 3, Bytes(4096 - 22, 'x')), readFile(strFolder + "vxp_req_0003")));
    EXPECT_TRUE(same(query, readFile(strFolder + "vxp_req_0004")));
    EXPECT_THAT(device.err(),
                testing::HasSubstr("\nreceived a request message. save it to /Volume_1/vxp_req_0000 now.\n"));
    EXPECT_THAT(device.err(),
                testing::HasSubstr("\nreceived a reply message. save it to /Volume_1/vxp_msg_0001 now.\n"));
}

// The number is used up also when the file cannot be made; an older file is replaced.
TEST_F(BlackboxDebug, DumpNumbers)
{
    constexpr char BEFORE[] = "mkdir /Volume_1/vxp_req_0000; seq 100 >/Volume_1/vxp_req_0001";
    AccessPoint &device = start({.strOptions = "-d", .strBefore = BEFORE});
    for (uint16_t uTag = 0; uTag < 2; uTag++)
        EXPECT_FALSE(ask(request(0xD0, uTag)).empty());
    EXPECT_TRUE(same(request(0xD0, 1), readFile(device.folder() + "/volume_1/vxp_req_0001")));
}

TEST_F(BlackboxDebug, DumpsOnlyWhereAskedAndMounted)
{
    const struct {
        const char *strOptions, *strFolder, *strFile; // where dumps are looked for, and what is there
    } cases[] = {
        {"-d -f /Volume_1/deep/down", "/Volume_1/deep/down", "vxp_req_0000\n"},
        {"--folder=/plain -d", "/plain", ""},
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
