// SPDX-License-Identifier: Apache-2.0
#include "lib/command.h"
#include "tests/support/support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using namespace std::chrono_literals;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace
{

// "$OUT" names a file of its own to the commands.
class Commands : public testing::Test
{
protected:
    TemporaryFolder m_folder{};
    const std::string m_strOut = m_folder.path() + "/out";

    void SetUp() override
    {
        setenv("OUT", m_strOut.c_str(), 1);
        setvbuf(stdout, nullptr, _IOLBF, 0); // as the daemon's is: a child's end repeats nothing
    }
};

} // namespace

TEST_F(Commands, SucceedOnlyOnACleanExit)
{
    CaptureStdout();
    EXPECT_EQ(System("printf '%s' >\"$OUT\"", "a b"), 0);
    EXPECT_EQ(readFile(m_strOut), "a b");
    EXPECT_EQ(System("exit 1"), -1);
    EXPECT_EQ(System("kill -9 $$"), -1);
    EXPECT_EQ(System("/no/such/tool 2>/dev/null"), -1);
    EXPECT_EQ(System("exit 7; %s", std::string(5000, 'x').c_str()), -1) << "cut, not overrun";
    EXPECT_EQ(GetCapturedStdout(), "") << "nothing is traced without the marker file";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "there is a child";
}

TEST_F(Commands, WithALimitAreSplitWithoutAShell)
{
    CaptureStdout();
    EXPECT_EQ(System_with_timeout(30, "  sh -c  printf${IFS}'%%s.'${IFS}a${IFS}\"b\">$OUT "), 0);
    EXPECT_EQ(readFile(m_strOut), "a.b.");
    EXPECT_EQ(System_with_timeout(-1, "false"), 0) << "the exit status is not looked at";
    EXPECT_EQ(System_with_timeout(0, "/no/such/program"), 0);
    EXPECT_EQ(System_with_timeout(0, "  "), 0);
    EXPECT_EQ(GetCapturedStdout(), "SYSCMD_T:   sh -c  printf${IFS}'%s.'${IFS}a${IFS}\"b\">$OUT \n"
                                   "SYSCMD_T: false\nSYSCMD_T: /no/such/program\nSYSCMD_T:   \n");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "there is a child";
}

TEST_F(Commands, BeyondTheirLimitAreEndedAndLeft)
{
    CaptureStdout();
    for (const auto &[iLimit, taken] : {std::pair{0, 1s}, {-2, 0s}}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(System_with_timeout(iLimit, "sleep 60"), -1);
        EXPECT_LT(std::chrono::abs(std::chrono::steady_clock::now() - start - taken), 900ms);
        int iStatus = 0;
        ASSERT_GT(waitpid(-1, &iStatus, 0), 0) << "the child is not reaped";
        EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGTERM);
    }
    GetCapturedStdout();
}
