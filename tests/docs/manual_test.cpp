// SPDX-License-Identifier: Apache-2.0
//
// The manual pages against what the programs say of themselves.
#include "tests/docs/text.h"

#include <set>

namespace
{

using Names = std::set<std::string>;

// A page as it reads, less its fonts.
std::string pageText(const std::string &strPath)
{
    const std::string strText = std::regex_replace(readFile(strPath), std::regex(R"(\\f[BIR])"), "");
    return std::regex_replace(strText, std::regex(R"(\\-)"), "-");
}

Names found(const std::string &strText, const char *pPattern)
{
    Names names;
    for (const auto &match : allMatches(strText, pPattern))
        names.insert(match[1]);
    return names;
}

std::string help(const std::string &strCommand)
{
    const Result result = capture([&] { return execute({"sh", "-c", "'" VXP_BIN "'/" + strCommand + " --help"}); });
    EXPECT_EQ(result.iStatus, 0) << strCommand << result.strErr;
    return result.strOut;
}

void expectInPage(const std::string &strPage, const std::string &strHelp, const char *pCommand)
{
    ASSERT_NE(strPage, "");
    const Names words = found(strPage, "(-{0,2}[A-Za-z_][A-Za-z_-]*)");
    for (const char *pPattern : {"(--[a-z][a-z-]*)", pCommand})
        for (const std::string &strName : found(strHelp, pPattern))
            EXPECT_TRUE(words.contains(strName)) << strName << " is in the help, and not in the page";
}

TEST(Manual, HasAllThatTheHelpTells)
{
    for (const auto &[pProgram, pPage] :
         {std::pair{"vxplab", "vxplab.1"}, {"vxpimage", "vxplab.1"}, {"lsqlctl", "lsqlctl.8"}, {"vxpd", "vxpd.8"}})
        expectInPage(pageText(VXP_SOURCE_DIR "/docs/man/" + std::string(pPage)), help(pProgram), "\n  ([a-z]+)");

    const std::string strPage = pageText(VXP_MANUAL);
    std::string strHelp = help("vxpctl");
    const Names sections = found(strPage, "\n\\.SS ([a-z][a-z ]*[a-z])");
    EXPECT_GT(sections.size(), 20U);
    for (const std::string &strCommand : sections)
        strHelp += help("vxpctl " + strCommand);
    expectInPage(strPage, strHelp, "\n  ([a-z]+)  ");
    const std::string strSchema = sourceFile("client/vxpctl.schema.json");
    const size_t uCodes = strSchema.find("\"enum\": [", strSchema.find("\"error\": {"));
    expectInPage(strPage, strSchema.substr(uCodes, strSchema.find(']', uCodes) - uCodes), "\"([a-z_]+)\"[,\n]");
}

} // namespace
