// SPDX-License-Identifier: Apache-2.0
//
// One question broadcast to every device, and the answers gathered.
#ifndef VXP_CLIENT_SURVEY_H
#define VXP_CLIENT_SURVEY_H

#include "client/decode.h"
#include "client/failure.h"
#include "client/interfaces.h"
#include "client/log.h"
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

// When to ask, counted from the start: first at once, then with gaps that grow by half each time, the last of which
// is the wait for stragglers. All gaps together are total.
std::vector<Clock::duration> sendTimes(Clock::duration total, int tries);

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

    // Ask and gather until the time is up: nobody knows how many devices there are. With a condition, which is looked
    // at after each answer, until a little after it holds: a second device of the same name may be slower than the
    // first. False when the user interrupts.
    bool run(Clock::duration total, int tries, const std::function<bool()> &enough = {});

    // A record for each device, sorted by name, then by MAC address. "interfaces" are those on which it was heard.
    std::vector<Record> devices() const;

    // Each interface on which no try could be sent; all of them when the network of this host is at fault.
    std::vector<Error> sendErrors() const;

    std::string noise() const { return m_noise.summary(); }

private:
    struct Outlet {
        Interface interface;
        bool sent = false;
        int error = 0; // errno of the latest try
    };
    struct Found {
        Record record;
        std::set<std::string> interfaces{};
    };

    void ask();
    bool gather(Clock::time_point deadline, const Interrupt &interrupt);
    void take(const Datagram &datagram);

    Query m_query;
    std::uint16_t m_uReqTag;
    const Log &m_log;
    UdpSocket m_socket{VXP_REPLY_PORT, m_log};
    std::vector<Outlet> m_outlets{};
    std::map<std::string, Found> m_found{}; // by MAC address
    Noise m_noise{};
    std::function<bool()> m_enough{};
    std::optional<Clock::time_point> m_end{}; // when enough has been found, and stragglers had their time
};

} // namespace vxpctl

#endif
