// SPDX-License-Identifier: Apache-2.0
#include "lib/assertion.h"
#include "lib/base64.h"
#include "lib/debug.h"
#include "lib/key_path.h"
#include "lib/mount_check.h"
#include "lib/numbers.h"
#include "lib/strings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

TEST(Strings, TrimCutsInPlace)
{
    char strText[] = "  abc \r\n";
    EXPECT_EQ(strtrim(strText, nullptr), strText + 2);
    EXPECT_STREQ(strText, "  abc");
    char strBlank[] = "   ";
    EXPECT_EQ(strrtrim(strBlank, nullptr)[0], '\0');
    char strDots[] = "..a.b..";
    EXPECT_STREQ(strtrim(strDots, "."), "a.b");
    EXPECT_EQ(strtrim(nullptr, nullptr), nullptr);
}

TEST(Strings, BackSlashesRotateThroughFourBuffersAndStayInside)
{
    const char *const strFirst = str_insert_back_slash("a\"b$c`d\\e'f", nullptr);
    EXPECT_STREQ(strFirst, "a\\\"b\\$c\\`d\\\\e'f");
    EXPECT_STREQ(str_insert_back_slash("a;b", ";"), "a\\;b");
    for (const std::string &strLong : {std::string(5000, 'x'), std::string(5000, '$'), "x" + std::string(5000, '$')}) {
        const std::string strResult = str_insert_back_slash(strLong.c_str(), nullptr);
        EXPECT_GE(strResult.size(), 4094u);
        EXPECT_LE(strResult.size(), 4095u);
        EXPECT_NE(strResult.back(), '\\') << "an escape was cut in two";
    }
    EXPECT_EQ(strFirst[0], 'x') << "the fifth call takes the first buffer again";
}

TEST(Numbers, WholeTextOrNothing)
{
    struct Case {
        const char *strText;
        uint64_t uValue;
        int iError;
        const char *strPrinted;
    };
    for (const Case &c : {
             Case{"0x1F", 31, 0, ""},
             Case{"010", 10, 0, ""},
             Case{"", 0, 0, ""},
             Case{"18446744073709551615", UINT64_MAX, 0, ""},
             Case{"18446744073709551616", 0, ERANGE, ""},
             Case{"12abc", 0, EINVAL, "str2ull: input string, 12abc, is invalid\n"},
             Case{"0X1F", 0, EINVAL, "str2ull: input string, 0X1F, is invalid\n"},
             Case{nullptr, 0, EINVAL, "str2ull: input string is NULL\n"},
         }) {
        SCOPED_TRACE(c.strText ? c.strText : "null");
        errno = ENOENT;
        CaptureStdout();
        EXPECT_EQ(str2ull(c.strText), c.uValue);
        EXPECT_EQ(errno, c.iError);
        EXPECT_EQ(GetCapturedStdout(), c.strPrinted);
    }
    EXPECT_EQ(str2ll("-9223372036854775808"), INT64_MIN);
    CaptureStdout();
    EXPECT_EQ(str2ll("7 x"), 0);
    EXPECT_EQ(GetCapturedStdout(), "str2ull: input string, 7 x, is invalid\nstr2ll:  x\n");
}

TEST(Numbers, LeadingIntHasTheLimitsOfA32BitMachine)
{
    EXPECT_EQ(leadingInt(" 64/x"), 64);
    EXPECT_EQ(leadingInt("x"), 0);
    EXPECT_EQ(leadingInt("99999999999"), INT_MAX);
    EXPECT_EQ(leadingInt("-99999999999"), INT_MIN);
}

// scanOctets stands in for the C library's scanf and has to read whatever that reads.
template <size_t N>
void expectAsScanf(const std::string &strText, const char *strFormat, char chSeparator, unsigned uBase, size_t uWidth)
{
    unsigned v[6] = {};
    sscanf(strText.c_str(), strFormat, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]);
    std::array<uint8_t, N> expected, octets;
    std::transform(v, v + N, expected.begin(), [](unsigned u) { return static_cast<uint8_t>(u); });
    octets.fill(0xEE);
    scanOctets(strText.c_str(), chSeparator, uBase, uWidth, octets);
    EXPECT_EQ(octets, expected) << strText;
}

TEST(Numbers, OctetsReadAsScanfReadsThem)
{
    std::mt19937 random(1);
    const std::string strAlphabet = "0123456789abcfgF.:-+ 01:.:."; // no x: after "0x" the C libraries differ
    std::vector<std::string> texts = {"192.168.0.50",
                                      "010.300.1.x",
                                      "1.2.x.4",
                                      "1.2.3",
                                      " 1. 2.\t3.4",
                                      "-1.+2.3.4",
                                      "1..2.3",
                                      "256.257.-5.9",
                                      "1.2.3.4.5",
                                      "00:1f:a4:Ff:0:9",
                                      "1:2:3:4:5:6:7",
                                      "001f:a4",
                                      "0x1:2:3:4:5:6",
                                      "-1:+2:- 3:4",
                                      "",
                                      "."};
    for (int i = 0; i < 3000; i++) {
        std::string strText;
        for (unsigned long uLength = random() % 24; uLength > 0; uLength--)
            strText += strAlphabet[random() % strAlphabet.size()];
        texts.push_back(strText);
    }
    for (const std::string &strText : texts) {
        if (strText.find_first_of(".:-+ ", 0) > 9 && strText.size() > 9)
            continue; // beyond 32 bits the C libraries differ
        expectAsScanf<4>(strText, "%u.%u.%u.%u", '.', 10, SIZE_MAX);
        expectAsScanf<6>(strText, "%02x:%02x:%02x:%02x:%02x:%02x", ':', 16, 2);
    }
    std::array<uint8_t, 4> octets;
    scanOctets("99999999999.1.2.3", '.', 10, SIZE_MAX, octets);
    EXPECT_EQ(octets, (std::array<uint8_t, 4>{255, 1, 2, 3}));
}

TEST(Base64, DecodesWhatTheFilterDecodes)
{
    struct Case {
        std::string strText;
        int iResult;
        std::string strDecoded;
    };
    for (const Case &c : {
             Case{"c3lzb3A=", 0, "sysop"},
             Case{"", 0, ""},
             Case{"!!!!", 0, ""},
             Case{std::string(1022, 'A'), 0, ""},
             Case{std::string(1023, 'A'), -1, ""},
         }) {
        SCOPED_TRACE(c.strText);
        char strOut[64];
        memset(strOut, 'x', sizeof strOut);
        EXPECT_EQ(base64_decode(strOut, c.strText.c_str()), c.iResult);
        EXPECT_EQ(strOut, c.strDecoded);
    }
    char strFour[4];
    EXPECT_EQ(base64_decode(strFour, "c3lzb3A="), 0);
    EXPECT_EQ(std::string(strFour, 4), "syso") << "at most the size given, then without a NUL";
}

TEST(KeyPath, KeepsNothing)
{
    char strValue[8] = "preset";
    EXPECT_EQ(dbSetStr("value", "/system/%s", "ddns"), 1);
    EXPECT_EQ(dbGetStr(strValue, "/system/%s", "ddns"), 1);
    EXPECT_STREQ(strValue, "preset");
    EXPECT_EQ(dbSetULL(UINT64_MAX, "/a"), 0);
    EXPECT_EQ(dbSetLL(INT64_MIN, "/a"), 0);
    EXPECT_EQ(dbGetULL("/a"), 0u);
    EXPECT_EQ(dbGetLL("/%s", std::string(5000, 'k').c_str()), 0);
    EXPECT_EQ(dbSetPercent(50), 0);
    EXPECT_EQ(dbGetPercent() | dbGetVolumeCount() | dbGetDiskCount(), 0);
    EXPECT_EQ(dbQueryVolumeEx("/Volume_1"), -1);
}

TEST(MountCheck, OnlyTheTopLevelFolderCounts)
{
    EXPECT_STREQ(afIsMounted("/proc/%s", "self/fd"), "/proc");
    EXPECT_STREQ(afIsMounted("proc"), "/proc") << "by device name";
    EXPECT_EQ(afIsMounted("/"), nullptr);
    EXPECT_EQ(afIsMounted("%s", ""), nullptr);
    EXPECT_EQ(afIsMounted("/no such folder"), nullptr);
    EXPECT_EQ(afIsMounted("/%s", std::string(5000, 'd').c_str()), nullptr);
}

TEST(Debug, ExpandsOnce)
{
    struct Case {
        int iLevel;
        std::string strArgument;
        std::string strPrinted;
    };
    for (const Case &c : {
             Case{0, "silent", ""},
             Case{1, "a", "vxpd: <a>\n"},
             Case{1, "100%% %n%s%5$n %", "vxpd: <100% %n%s%5$n %>\n"},
             Case{2, std::string(2000, 'x'), "vxpd: <" + std::string(1016, 'x')},
         }) {
        g_iDebug = c.iLevel;
        CaptureStderr();
        sysDebug("<%s>\n", c.strArgument.c_str());
        EXPECT_EQ(GetCapturedStderr(), c.strPrinted);
    }
    g_iDebug = 0;
}

TEST(AssertionDeathTest, NamesExpressionSourceAndFunction)
{
    assertThat(true, "1", "sys");
    EXPECT_DEATH(assertThat(false, "buf_len>strlen(str)", "sys"),
                 "sys:[0-9]+: TestBody: Assertion \"buf_len>strlen\\(str\\)\" failed");
}
