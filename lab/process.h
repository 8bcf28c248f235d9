// SPDX-License-Identifier: Apache-2.0
//
// Programs that the simulated device runs.
#ifndef VXP_LAB_PROCESS_H
#define VXP_LAB_PROCESS_H

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace lab
{

using Clock = std::chrono::steady_clock;

// Start a program, found along PATH, with no signal blocked. Throws std::system_error.
pid_t start(const std::vector<std::string> &command);

// Run it to its end. True if it exits with status 0; false also when it cannot be started.
bool run(const std::vector<std::string> &command);

// Become the parent of all descendants that lose theirs, so that endDescendants() misses none.
void adoptOrphans();

// Kill all descendants, and theirs, until there are none. Needs adoptOrphans().
void endDescendants();

// A program that is started again when it ends: after 100 ms, and each time after twice as long up to 5 s, until it
// has run for 10 s.
class Service
{
public:
    explicit Service(std::vector<std::string> command) : m_command(std::move(command)) {}

    void enable(); // starts it
    void disable();
    void forget(); // its process was ended by endDescendants()

    void ended(pid_t pid, int status); // of any child: a stranger's is ignored
    void startIfDue();
    std::optional<Clock::time_point> due() const { return m_due; } // when to call startIfDue()

private:
    void launch();

    std::vector<std::string> m_command;
    bool m_enabled = false;
    pid_t m_pid = -1;
    Clock::time_point m_started;
    Clock::duration m_pause{};
    std::optional<Clock::time_point> m_due;
};

} // namespace lab

#endif
