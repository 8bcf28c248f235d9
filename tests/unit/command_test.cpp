// SPDX-License-Identifier: Apache-2.0
#include "lib/command.h"
#include "lib/strings.h"
#include "req_func/transfer.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace
{

// What a command writes into a file of its own; "$OUT" names the file to the command.
class Commands : public testing::Test
{
protected:
    std::string m_strFile = testing::TempDir() + "command_test." + std::to_string(getpid());

    void SetUp() override { setenv("OUT", m_strFile.c_str(), 1); }
    void TearDown() override { unlink(m_strFile.c_str()); }

    std::string written() const
    {
        std::string strText;
        if (FILE *const pFile = fopen(m_strFile.c_str(), "r")) {
            for (int ch; (ch = fgetc(pFile)) != EOF;)
                strText += static_cast<char>(ch);
            fclose(pFile);
        }
        return strText;
    }
};

double secondsNow()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

bool hasChildren()
{
    return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD;
}

} // namespace

TEST_F(Commands, SucceedOnlyOnACleanExit)
{
    CaptureStdout();
    EXPECT_EQ(System("printf '%s' >\"$OUT\"", "a b"), 0);
    EXPECT_EQ(written(), "a b");
    EXPECT_EQ(System("exit 1"), -1);
    EXPECT_EQ(System("kill -9 $$"), -1);
    EXPECT_EQ(System("/no/such/tool 2>/dev/null"), -1);
    EXPECT_EQ(System("exit 7; %s", std::string(5000, 'x').c_str()), -1) << "cut, not overrun";
    EXPECT_EQ(GetCapturedStdout(), "") << "nothing is traced without the marker file";
    EXPECT_FALSE(hasChildren());
}

TEST_F(Commands, WithALimitAreSplitWithoutAShell)
{
    CaptureStdout();
    EXPECT_EQ(System_with_timeout(30, "  sh -c  printf${IFS}'%%s.'${IFS}a${IFS}\"b\">$OUT "), 0);
    EXPECT_EQ(written(), "a.b.");
    EXPECT_EQ(System_with_timeout(-1, "false"), 0) << "the exit status is not looked at";
    EXPECT_EQ(System_with_timeout(0, "/no/such/program"), 0);
    EXPECT_EQ(System_with_timeout(0, "  "), 0);
    EXPECT_EQ(GetCapturedStdout(), "SYSCMD_T:   sh -c  printf${IFS}'%s.'${IFS}a${IFS}\"b\">$OUT \n"
                                   "SYSCMD_T: false\nSYSCMD_T: /no/such/program\nSYSCMD_T:   \n");
    EXPECT_FALSE(hasChildren());
}

TEST_F(Commands, BeyondTheirLimitAreEndedAndLeft)
{
    CaptureStdout();
    for (const int iLimit : {0, -2}) {
        const double dStart = secondsNow();
        EXPECT_EQ(System_with_timeout(iLimit, "sleep 60"), -1);
        EXPECT_NEAR(secondsNow() - dStart, iLimit + 1 > 0 ? iLimit + 1 : 0, 0.9);
        int iStatus = 0;
        ASSERT_GT(waitpid(-1, &iStatus, 0), 0) << "the child is not reaped";
        EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGTERM);
    }
    GetCapturedStdout();
}

TEST(Words, AreSplitWithoutEmptyOnes)
{
    char strText[] = "  a bc   d ";
    char *pRest = strText;
    EXPECT_STREQ(strsep_ex(&pRest, " "), "a");
    EXPECT_STREQ(strsep_ex(&pRest, nullptr), "bc");
    EXPECT_STREQ(strsep_ex(&pRest, " "), "d");
    EXPECT_EQ(strsep_ex(&pRest, " "), nullptr);
}

// Whatever a file is called, the shell hands over its blank-separated words and runs nothing.
TEST_F(Commands, HostileNamesAreJustWords)
{
    const std::string strTrap = testing::TempDir() + "trap." + std::to_string(getpid());
    const std::string strRun = "touch " + strTrap;
    std::vector<std::string> names = {
        "plain-1.2_3.bin", "~",       "~root",  "*", "?",     "[a]", "a#b", "#c",  "\\", "a\\", "'", "\"", "'\"'",
        "$HOME",           "${HOME}", "$((1))", "`", "\\\\n", "(",   "<",   "a>b", "&&", "||"};
    for (const char *strBefore : {"", "a", "a ", "'", "\"", "\\", "\\\\", "a\n", "\n", "'\n", "$'", "x='"})
        for (const char *strOperator :
             {";", "&", "|", "&&", "||", "\n", "`", "$(", "<(", ">(", "(", "{ ", "2>&1;", "#\n"})
            names.push_back(strBefore + std::string(strOperator) + strRun + (*strOperator == '`' ? "`" : ")"));
    ASSERT_GE(names.size(), 180u);
    for (const std::string &strName : names) {
        TransferServer server = {};
        copyText(server.strFile, strName.c_str());
        System("for w in %s; do printf '%%s ' \"$w\"; done >\"$OUT\"", ShellName(server.strFile).str);
        EXPECT_NE(access(strTrap.c_str(), F_OK), 0) << "ran: " << strName;
        unlink(strTrap.c_str());
        // The words of the name, blanks and line breaks aside.
        std::string strExpected, strWritten = written();
        for (const char ch : std::string(server.strFile))
            if (!strchr(" \n", ch))
                strExpected += ch;
        std::erase(strWritten, ' ');
        EXPECT_EQ(strWritten, strExpected) << strName;
    }
}

TEST(ShellNames, StayInsideTheirBuffers)
{
    TransferServer server = {};
    const std::string strFull(200, '$');
    copyText(server.strFile, strFull.c_str());
    EXPECT_EQ(strlen(ShellName(server.strFile).str), 254u);
    EXPECT_STREQ(ShellName("fw 1.bin").str, "fw 1.bin") << "blanks stand";
}
