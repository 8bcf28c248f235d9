// SPDX-License-Identifier: Apache-2.0
#include "lib/base64.h"
#include "lib/debug.h"
#include "lib/key_path.h"
#include "lib/mount_check.h"
#include "lib/numbers.h"
#include "lib/strings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <random>
#include <string>

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

TEST(Strings, WhiteSpaceIsCutInPlace)
{
    char strText[] = "  abc \r\n";
    EXPECT_EQ(strtrim(strText, nullptr), strText + 2);
    EXPECT_STREQ(strText, "  abc");
    char strBlank[] = "   ";
    EXPECT_EQ(strrtrim(strBlank, nullptr)[0], '\0');
    char strDots[] = "..a.b..";
    EXPECT_STREQ(strtrim(strDots, "."), "a.b");
    EXPECT_EQ(strtrim(nullptr, nullptr), nullptr);
    char strWords[] = "\t\na b", *pRest = strWords;
    EXPECT_STREQ(strsep_ex(&pRest, nullptr), "a");
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
    const struct {
        const char *strText;
        uint64_t uValue;
        int iError;
        const char *strPrinted;
    } cases[] = {
        {"0x1F", 31, 0, ""},
        {"010", 10, 0, ""},
        {"", 0, 0, ""},
        {"18446744073709551615", UINT64_MAX, 0, ""},
        {"18446744073709551616", 0, ERANGE, ""},
        {"12abc", 0, EINVAL, "str2ull: input string, 12abc, is invalid\n"},
        {"0X1F", 0, EINVAL, "str2ull: input string, 0X1F, is invalid\n"},
        {nullptr, 0, EINVAL, "str2ull: input string is NULL\n"},
    };
    for (const auto &c : cases) {
        errno = ENOENT;
        CaptureStdout();
        EXPECT_EQ(str2ull(c.strText), c.uValue);
        EXPECT_EQ(errno, c.iError) << c.uValue << c.strPrinted;
        EXPECT_EQ(GetCapturedStdout(), c.strPrinted);
    }
    EXPECT_EQ(str2ll("-9223372036854775808"), INT64_MIN);
    CaptureStdout();
    EXPECT_EQ(str2ll("7 x"), 0);
    EXPECT_EQ(GetCapturedStdout(), "str2ll: input string, 7 x, is invalid\nstr2ll:  x\n");
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
    const std::string strAlphabet = "0123456789abcfgF.:-+ \t01:.:."; // no x: after "0x" the C libraries differ
    for (int i = 0; i < 3000; i++) {
        std::string strText;
        for (unsigned long uLength = random() % 24; uLength > 0; uLength--)
            strText += strAlphabet[random() % strAlphabet.size()];
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
    const auto decode = [](const std::string &strText) {
        char strOut[64];
        std::fill_n(strOut, sizeof strOut, 'x');
        const int iResult = base64_decode(strOut, strText.c_str());
        return std::pair{iResult, std::string(strOut)};
    };
    EXPECT_EQ(decode("c3lzb3A="), (std::pair{0, std::string("sysop")}));
    for (const std::string &strNothing : {std::string(), std::string("!!!!"), std::string(1022, 'A')})
        EXPECT_EQ(decode(strNothing), (std::pair{0, std::string()})) << strNothing;
    EXPECT_EQ(decode(std::string(1023, 'A')), (std::pair{-1, std::string()}));
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
    EXPECT_EQ(dbSetULL(UINT64_MAX, "/a") | dbSetLL(INT64_MIN, "/a") | dbSetPercent(50), 0);
    EXPECT_EQ(dbGetULL("/a"), 0u);
    EXPECT_EQ(dbGetLL("/%s", std::string(5000, 'k').c_str()), 0);
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
    const auto printed = [](int iLevel, const std::string &strArgument) {
        g_iDebug = iLevel;
        CaptureStderr();
        sysDebug("<%s>\n", strArgument.c_str());
        g_iDebug = 0;
        return GetCapturedStderr();
    };
    EXPECT_EQ(printed(0, "silent"), "");
    EXPECT_EQ(printed(1, "100%% %n%s%5$n %"), "vxpd: <100% %n%s%5$n %>\n");
    EXPECT_EQ(printed(2, std::string(2000, 'x')), "vxpd: <" + std::string(1016, 'x'));
}
