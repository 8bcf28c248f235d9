// SPDX-License-Identifier: Apache-2.0
#include "client/survey.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <tuple>

namespace vxpctl
{
namespace
{

constexpr double gapGrowth = 1.5;
constexpr auto stragglers = std::chrono::milliseconds(150);

const char *sendHint(int error)
{
    if (error == EPERM || error == EACCES)
        return "allow outbound broadcasts to UDP port 62976 in this host's firewall";
    return "check the interface with 'ip -brief address', or leave it out by naming others with -i";
}

} // namespace

std::vector<Clock::duration> sendTimes(Clock::duration total, int tries)
{
    std::vector<Clock::duration> times;
    const double allGaps = std::pow(gapGrowth, tries) - 1;
    for (int i = 0; i < tries; i++) {
        const double share = (std::pow(gapGrowth, i) - 1) / allGaps;
        times.push_back(std::chrono::duration_cast<Clock::duration>(total * share));
    }
    return times;
}

bool gatherUntil(UdpSocket &socket, const Interrupt &interrupt,
                 const std::function<std::optional<Clock::time_point>()> &end,
                 const std::function<void(const Datagram &)> &take)
{
    for (;;) {
        switch (socket.wait(end(), interrupt)) {
        case Wake::interrupted:
            return false;
        case Wake::deadline:
            return true;
        case Wake::datagram:
            if (const auto datagram = socket.receive())
                take(*datagram);
        }
    }
}

Survey::Survey(const Query &query, const std::vector<Interface> &interfaces, const Log &log)
    : m_query(query), m_uReqTag(randomTag()), m_log(log)
{
    for (const Interface &interface : interfaces) {
        m_outlets.push_back({interface});
        m_log("using " + interface.name + " (" +
              (interface.subnets.empty() ? "no IPv4 address" : interface.subnets[0].text()) +
              (interface.hasLink() ? "" : ", no link") + ")");
    }
}

bool Survey::run(Clock::duration total, int tries, const std::function<bool()> &enough)
{
    const Interrupt interrupt;
    m_enough = enough;
    const auto start = Clock::now();
    for (const auto offset : sendTimes(total, tries)) {
        if (!gather(start + offset, interrupt))
            return false;
        if (m_end)
            return true;
        ask();
    }
    return gather(start + total, interrupt);
}

void Survey::ask()
{
    const RequestBytes request = makeBroadcastRequest(m_query.uOP_Code, m_uReqTag);
    for (Outlet &outlet : m_outlets) {
        outlet.error = m_socket.broadcast(request, VXP_REQUEST_PORT, outlet.interface.index);
        outlet.sent |= outlet.error == 0;
        m_log((outlet.error ? "could not ask" : "asked") + (" on " + outlet.interface.name) +
              (outlet.error ? std::string(": ") + strerror(outlet.error) : ""));
    }
}

bool Survey::gather(Clock::time_point deadline, const Interrupt &interrupt)
{
    const auto end = [&] { return m_end ? std::min(*m_end, deadline) : deadline; };
    return gatherUntil(m_socket, interrupt, end, [this](const Datagram &datagram) {
        take(datagram);
        if (!m_end && m_enough && m_enough())
            m_end = Clock::now() + stragglers;
    });
}

void Survey::take(const Datagram &datagram)
{
    const Verdict verdict = judgeReply(datagram.bytes, m_query.uOP_Code, m_uReqTag, m_query.reply.size);
    m_noise.add(verdict);
    if (verdict != Verdict::wanted)
        return;
    Record record = m_query.reply.decode(datagram.bytes.data() + sizeof(message_t));
    record["from"] = datagram.sender;
    // Devices that could not read their own MAC address are told apart by where they answer from.
    std::string key = record["mac"];
    if (key == "00:00:00:00:00:00")
        key += " " + datagram.sender;
    Found &found = m_found[key];
    found.record = std::move(record);
    found.interfaces.insert(interfaceName(datagram.index));
}

std::vector<Record> Survey::devices() const
{
    std::vector<Record> devices;
    for (const auto &[key, found] : m_found) {
        devices.push_back(found.record);
        devices.back()["interfaces"] = found.interfaces;
    }
    // The map is in the order of the MAC addresses already.
    std::stable_sort(devices.begin(), devices.end(),
                     [](const Record &a, const Record &b) { return a["name"] < b["name"]; });
    return devices;
}

std::vector<Error> Survey::sendErrors() const
{
    std::vector<Error> errors;
    for (const Outlet &outlet : m_outlets)
        if (!outlet.sent && outlet.error)
            errors.push_back({"send_failed",
                              "could not send on " + outlet.interface.name + ": " + strerror(outlet.error),
                              sendHint(outlet.error)});
    return errors;
}

} // namespace vxpctl
