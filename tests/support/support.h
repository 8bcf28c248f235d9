// SPDX-License-Identifier: Apache-2.0
//
// What the tests of every area need of the machine: files, waiting, child processes, namespaces.
#ifndef VXP_TESTS_SUPPORT_SUPPORT_H
#define VXP_TESTS_SUPPORT_SUPPORT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

int check(int iResult, const char *strWhat); // as it came; -1 is thrown as what errno says

std::string readFile(const std::string &strPath); // empty when it is not there
void writeFile(const std::string &strPath, const std::string &strContent);

// In memory where there is such a place: thousands of durable writes would wait for the disk.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const std::string &strWhere = "");
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;
    const std::string &path() const { return m_strPath; }

private:
    std::string m_strPath;
};

// Ask again until it holds or the time is over; the last answer.
bool eventually(const std::function<bool()> &holds, std::chrono::milliseconds limit = std::chrono::seconds(20));

using Body = std::function<int()>;

// A forked child, which leaves by _exit with what the body returns. Expectations that fail in it are printed there and
// make that 99.
pid_t startChild(const Body &body);
int statusOf(int iWaited); // what waitpid tells: the exit status, or -signal if one killed it
int waitFor(pid_t iChild);
int inChild(const Body &body);
int execute(std::vector<std::string> words); // instead of this process, found by PATH; 127 when that fails

struct Result {
    int iStatus; // see statusOf
    std::string strOut;
    std::string strErr;
};

// The same child with its standard streams in files.
Result capture(const Body &body, const std::string &strInput = "");

class MemoryFile
{
public:
    explicit MemoryFile(const std::string &strContent = "");
    ~MemoryFile();
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;
    int get() const { return m_iFile; }
    std::string content() const; // so far

private:
    int m_iFile;
};

// A child that goes on while the test does; what still runs at the end is killed.
class Program
{
public:
    explicit Program(const Body &body);
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;
    bool ended();
    int status(); // at the end; -1 when that does not come
    void signal(int iSignal);
    std::string out() const { return m_out.content(); }
    std::string err() const { return m_err.content(); }

private:
    MemoryFile m_out{}, m_err{};
    pid_t m_iChild;
    int m_iWaited = 0;
    bool m_bEnded = false;
};

// Move into new namespaces, CLONE_NEWNET and the like; without the right to have them, as root of a new user namespace.
// False where the machine does not let us.
bool enterNamespaces(int iFlags);

// This program runs under user-mode emulation, where mounts, robust locks and timing are not the machine's.
bool isEmulatedHere();

#define SKIP_IF_EMULATED(why)                                                                                          \
    if (isEmulatedHere())                                                                                              \
    GTEST_SKIP() << "emulated: " << why

#endif
