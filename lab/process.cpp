// SPDX-License-Identifier: Apache-2.0
#include "lab/process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace lab
{

namespace
{

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr Clock::duration LEAST_PAUSE = milliseconds(100);
constexpr Clock::duration MOST_PAUSE = seconds(5);
constexpr Clock::duration STEADY = seconds(10);

void killChildren()
{
    std::ifstream in("/proc/self/task/" + std::to_string(getpid()) + "/children");
    for (pid_t pid; in >> pid;)
        kill(pid, SIGKILL);
}

} // namespace

pid_t start(const std::vector<std::string> &command)
{
    std::vector<char *> arguments;
    for (const std::string &word : command)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    pid_t pid;
    const int error = posix_spawnp(&pid, arguments[0], nullptr, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), command[0]);
    return pid;
}

bool run(const std::vector<std::string> &command)
{
    try {
        const pid_t pid = start(command);
        int status;
        while (waitpid(pid, &status, 0) < 0)
            if (errno != EINTR)
                return false;
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    } catch (const std::system_error &failure) {
        fprintf(stderr, "%s\n", failure.what());
        return false;
    }
}

void adoptOrphans()
{
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0)
        throw std::system_error(errno, std::generic_category(), "PR_SET_CHILD_SUBREAPER");
}

void endDescendants()
{
    do
        killChildren(); // the next round finds theirs
    while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR);
}

void Service::enable()
{
    if (m_enabled)
        return;
    m_enabled = true;
    m_pause = LEAST_PAUSE;
    launch();
}

void Service::disable()
{
    m_enabled = false;
    m_due.reset();
    if (m_pid > 0)
        kill(m_pid, SIGTERM);
    m_pid = -1; // reaped as a stranger
}

void Service::forget()
{
    m_enabled = false;
    m_due.reset();
    m_pid = -1;
}

void Service::ended(pid_t pid, int status)
{
    if (pid != m_pid)
        return;
    m_pid = -1;
    const auto now = Clock::now();
    if (now - m_started >= STEADY)
        m_pause = LEAST_PAUSE;
    m_due = now + m_pause;
    fprintf(stderr, "vxman: %s ended (%s %d); starting it again in %lld ms\n", m_command[0].c_str(),
            WIFSIGNALED(status) ? "signal" : "status", WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status),
            static_cast<long long>(std::chrono::duration_cast<milliseconds>(m_pause).count()));
    m_pause = std::min(2 * m_pause, MOST_PAUSE);
}

void Service::startIfDue()
{
    if (m_due && Clock::now() >= *m_due)
        launch();
}

void Service::launch()
{
    m_due.reset();
    m_started = Clock::now();
    try {
        m_pid = start(m_command);
    } catch (const std::system_error &failure) {
        fprintf(stderr, "vxman: cannot start %s\n", failure.what());
        m_due = Clock::now() + MOST_PAUSE;
    }
}

} // namespace lab
