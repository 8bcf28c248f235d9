// SPDX-License-Identifier: Apache-2.0
#include "tests/support/support.h"

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <thread>

int check(int iResult, const char *strWhat)
{
    if (iResult == -1)
        throw std::system_error(errno, std::generic_category(), strWhat);
    return iResult;
}

std::string readFile(const std::string &strPath)
{
    std::ifstream file(strPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string &strPath, const std::string &strContent)
{
    if (!(std::ofstream(strPath, std::ios::binary) << strContent << std::flush))
        throw std::runtime_error("cannot write " + strPath);
}

TemporaryFolder::TemporaryFolder(const std::string &strWhere) : m_strPath(strWhere)
{
    if (m_strPath.empty())
        m_strPath = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    m_strPath += "/vxp-test-XXXXXX";
    check(mkdtemp(m_strPath.data()) ? 0 : -1, "mkdtemp");
}

TemporaryFolder::~TemporaryFolder()
{
    std::filesystem::remove_all(m_strPath);
}

bool eventually(const std::function<bool()> &holds, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline)
            return holds();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

pid_t startChild(const Body &body)
{
    fflush(nullptr);
    const pid_t iChild = check(fork(), "fork");
    if (iChild == 0) {
        const int iStatus = body();
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 99 : iStatus);
    }
    return iChild;
}

int statusOf(int iWaited)
{
    return WIFSIGNALED(iWaited) ? -WTERMSIG(iWaited) : WEXITSTATUS(iWaited);
}

int waitFor(pid_t iChild)
{
    int iWaited = 0;
    check(waitpid(iChild, &iWaited, 0), "waitpid");
    return statusOf(iWaited);
}

int inChild(const Body &body)
{
    return waitFor(startChild(body));
}

int execute(std::vector<std::string> words)
{
    std::vector<char *> arguments;
    for (std::string &strWord : words)
        arguments.push_back(strWord.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    return 127;
}

MemoryFile::MemoryFile(const std::string &strContent)
    : m_iFile(check(memfd_create("test", MFD_CLOEXEC), "memfd_create"))
{
    writeFile("/proc/self/fd/" + std::to_string(m_iFile), strContent);
}

MemoryFile::~MemoryFile()
{
    close(m_iFile);
}

// Opened anew: who writes shares the descriptor's offset.
std::string MemoryFile::content() const
{
    return readFile("/proc/self/fd/" + std::to_string(m_iFile));
}

Result capture(const Body &body, const std::string &strInput)
{
    const MemoryFile in(strInput), out, err;
    const int iStatus = inChild([&] {
        for (const auto &[pFile, iTarget] : {std::pair{&in, 0}, {&out, 1}, {&err, 2}})
            check(dup2(pFile->get(), iTarget), "dup2");
        return body();
    });
    return {iStatus, out.content(), err.content()};
}

Program::Program(const Body &body)
{
    m_iChild = startChild([&] {
        check(dup2(m_out.get(), 1), "dup2");
        check(dup2(m_err.get(), 2), "dup2");
        for (const int iSignal : {SIGINT, SIGHUP}) // a test that runs in the background has them ignored
            ::signal(iSignal, SIG_DFL);
        return body();
    });
}

Program::~Program()
{
    if (!ended() && kill(m_iChild, SIGKILL) == 0)
        waitpid(m_iChild, nullptr, 0);
}

bool Program::ended()
{
    return m_bEnded || (m_bEnded = waitpid(m_iChild, &m_iWaited, WNOHANG) == m_iChild);
}

int Program::status()
{
    return eventually([this] { return ended(); }) ? statusOf(m_iWaited) : -1;
}

void Program::signal(int iSignal)
{
    EXPECT_TRUE(!ended() && kill(m_iChild, iSignal) == 0);
}

bool enterNamespaces(int iFlags)
{
    const std::string strUser = std::to_string(geteuid()), strGroup = std::to_string(getegid());
    if (unshare(iFlags) == 0)
        return true;
    if (unshare(CLONE_NEWUSER | iFlags) != 0)
        return false;
    return (std::ofstream("/proc/self/setgroups") << "deny" << std::flush) &&
           (std::ofstream("/proc/self/uid_map") << "0 " << strUser << " 1" << std::flush) &&
           (std::ofstream("/proc/self/gid_map") << "0 " << strGroup << " 1" << std::flush);
}

bool isEmulatedHere()
{
    return getenv("VXP_EMULATED") != nullptr;
}
