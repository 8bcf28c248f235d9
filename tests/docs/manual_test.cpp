// SPDX-License-Identifier: Apache-2.0
//
// The manual pages against what the programs say of themselves.
#include "tests/support/support.h"

#include <regex>
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
    const std::regex pattern(pPattern);
    Names names;
    for (std::sregex_iterator i(strText.begin(), strText.end(), pattern), end; i != end; ++i)
        names.insert((*i)[1]);
    return names;
}

std::string help(std::vector<std::string> words)
{
    words.emplace_back("--help");
    const Result result = capture([&] { return execute(words); });
    EXPECT_EQ(result.iStatus, 0) << words[0] << result.strErr;
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
    const std::string strBin = VXP_BIN "/", strMan = VXP_SOURCE_DIR "/docs/man/";
    expectInPage(pageText(strMan + "vxplab.1"), help({strBin + "vxplab"}), "\n  ([a-z]+)");
    expectInPage(pageText(strMan + "vxplab.1"), help({strBin + "vxpimage"}), "\n  ([a-z]+)");
    expectInPage(pageText(strMan + "lsqlctl.8"), help({strBin + "lsqlctl"}), "\n  ([a-z]+)");
    expectInPage(pageText(strMan + "vxpd.8"), help({strBin + "vxpd"}), "\n  ([a-z]+)");

    const std::string strPage = pageText(VXP_MANUAL);
    std::string strHelp = help({strBin + "vxpctl"});
    const Names sections = found(strPage, "\n\\.SS ([a-z][a-z ]*[a-z])");
    EXPECT_GT(sections.size(), 20U);
    for (const std::string &strCommand : sections) {
        std::vector<std::string> words{strBin + "vxpctl"};
        for (const std::string &strWord : {strCommand.substr(0, strCommand.find(' ')),
                                           strCommand.substr(std::min(strCommand.find(' '), strCommand.size()))})
            if (!strWord.empty())
                words.push_back(strWord.substr(strWord.find_first_not_of(' ')));
        strHelp += help(words);
    }
    expectInPage(strPage, strHelp, "\n  ([a-z]+)  ");
    const std::string strSchema = readFile(VXP_SOURCE_DIR "/client/vxpctl.schema.json");
    const size_t uCodes = strSchema.find("\"enum\": [", strSchema.find("\"error\": {"));
    expectInPage(strPage, strSchema.substr(uCodes, strSchema.find(']', uCodes) - uCodes), "\"([a-z_]+)\"[,\n]");
}

} // namespace
