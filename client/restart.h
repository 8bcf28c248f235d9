// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_RESTART_H
#define VXP_CLIENT_RESTART_H

#include "client/session.h"
#include "client/udp_socket.h"

#include <optional>
#include <string>

namespace vxpctl
{

inline constexpr double longestWait = 86400; // seconds

// An option's number, from 1 to most. Throws Failure (usage).
double numberOption(const Options &options, const std::string &name, double preset, double most);

// Looks for a device that may be away, or come back with another address.
class Lookout
{
public:
    explicit Lookout(Session &session) : m_session(session) {}

    // As it describes itself now. Nothing when it does not answer, as when it has another address, or cannot be asked.
    std::optional<Device> askIt() const;
    // The same by asking everybody, whom it costs time to answer: with gaps that grow to 5 s, and nothing in between.
    std::optional<Device> askAll();

private:
    Session &m_session;
    Clock::duration m_gap = std::chrono::seconds(2);
    Clock::time_point m_next = Clock::now() + m_gap;
};

// Follows the device down and up again by asking it to report itself; a lost answer does not make it down, another
// version does. Adds to the record: ip, name, version, seconds, and result, verified. Throws Failure when the device
// does not go down (not verified), or is not back within so many seconds (no answer).
void awaitReturn(Session &session, Record &record, double seconds, bool isDown = false);

} // namespace vxpctl

#endif
