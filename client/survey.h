// SPDX-License-Identifier: Apache-2.0
//
// One question broadcast to every device, and the answers gathered.
#ifndef VXP_CLIENT_SURVEY_H
#define VXP_CLIENT_SURVEY_H

#include "client/decode.h"
#include "client/failure.h"
#include "client/interfaces.h"
#include "client/log.h"
#include "client/options.h"
#include "client/protocol.h"
#include "client/udp_socket.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vxpctl
{

struct Query {
    std::uint16_t uOP_Code;
    BodyFormat reply;
};

// When to ask, counted from the start: first at once, then with gaps that grow by a fifth each time, the last of which
// is the wait for stragglers. All gaps together are total.
std::vector<Clock::duration> sendTimes(Clock::duration total, int tries);

// The same with each gap up to a fifth longer or shorter: many clients must not stay in step.
std::vector<Clock::duration> jittered(std::vector<Clock::duration> times);

struct Plan {
    Clock::duration total;
    int tries;
    bool mayEndEarly = false; // when it is unlikely that a device is missing
};

// What the command line asks for: exactly --timeout; without it, as long as it takes, up to ten seconds.
Plan searchPlan(const Options &options);

// Who is looked for.
struct Goal {
    std::function<bool()> reached{}; // looked at after each new device; none: nobody knows who is there
    bool suffices = false;           // nobody else is wanted, so that the survey ends then
};

// How many devices have probably not been heard yet, after found devices answered so many of all the rounds together.
double expectedMissing(std::size_t found, std::size_t answers, std::size_t rounds);

// Hand over each datagram that comes in; after each, the end is asked for again (none: it never comes). False when the
// user interrupts.
bool gatherUntil(UdpSocket &socket, const Interrupt &interrupt,
                 const std::function<std::optional<Clock::time_point>()> &end,
                 const std::function<void(const Datagram &)> &take);

class Survey
{
public:
    // Throws Failure when the port cannot be had.
    Survey(const Query &query, const std::vector<Interface> &interfaces, const Log &log);

    // Ask and gather until the time of the plan is up. When the goal suffices, until a little after it is reached: a
    // second device of the same name may be slower than the first. When the plan may end early, until no device is
    // likely to be missing (every device answers every round on its own, so the rounds that known ones missed tell how
    // many were missed altogether) and none has turned up for a second; a goal that is not reached makes that three
    // seconds from the start. False when the user interrupts.
    bool run(const Plan &plan, const Goal &goal = {});

    // A record for each device, sorted by name, then by MAC address. "interfaces" are those on which it was heard.
    std::vector<Record> devices() const;

    // Each interface on which no try could be sent; all of them when the network of this host is at fault.
    std::vector<Error> sendErrors() const;

    std::string noise() const { return m_noise.summary(); }
    bool heardAll(const std::vector<Record> &known) const; // of one at least
    bool heard(const Record &device) const { return m_found.contains(device["mac"].get<std::string>()); }

private:
    struct Outlet {
        Interface interface;
        bool sent = false;
        int error = 0; // errno of the latest try
    };
    struct Found {
        Record record;
        std::set<std::string> interfaces{};
        std::set<std::size_t> rounds{}; // that it answered
    };
    struct Round {
        std::uint16_t uReqTag;
        Clock::time_point asked;
    };

    void ask();
    bool gather(Clock::time_point deadline, const Interrupt &interrupt);
    std::optional<Clock::time_point> earlyEnd() const;
    void take(const Datagram &datagram);

    Query m_query;
    const Log &m_log;
    UdpSocket m_socket{VXP_REPLY_PORT, m_log};
    std::vector<Outlet> m_outlets{};
    std::map<std::string, Found> m_found{}; // by MAC address
    Noise m_noise{};
    std::vector<Round> m_rounds{};
    Goal m_goal{};
    bool m_mayEndEarly = false, m_reached = false;
    Clock::time_point m_start{}, m_newest{}; // when the latest new device was heard
};

} // namespace vxpctl

#endif
