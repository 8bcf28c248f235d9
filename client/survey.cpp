// SPDX-License-Identifier: Apache-2.0
#include "client/survey.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <random>
#include <tuple>

namespace vxpctl
{
namespace
{

using namespace std::chrono_literals;

constexpr double gapGrowth = 1.2;
constexpr auto stragglers = 150ms;

constexpr double longestSearch = 9.5; // seconds: with start and end no command takes more than ten
constexpr double shortestGap = 0.2;   // seconds: a device answers one request after the other
constexpr int mostTries = 12;         // where one in three rounds is lost, one of 50 devices is missed in 2000 searches
constexpr auto answerTime = 200ms;    // by which a device that heard a round has answered it
constexpr auto quietTime = 1000ms;    // without a new device
constexpr auto patience = 2500ms;     // with a device that was seen before and does not answer, or none that was seen
constexpr double unlikely = 0.001;    // devices

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
        times.push_back(std::chrono::round<Clock::duration>(total * share));
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

std::vector<Clock::duration> jittered(std::vector<Clock::duration> times)
{
    thread_local std::minstd_rand random{std::random_device{}()};
    std::uniform_real_distribution<> part(-0.2, 0.2);
    for (std::size_t i = times.size(); i-- > 1;)
        times[i] += std::chrono::duration_cast<Clock::duration>((times[i] - times[i - 1]) * part(random));
    return times;
}

Plan searchPlan(const Options &options)
{
    const double total = options.timeout > 0 ? options.timeout : longestSearch;
    // As many as fit when the first gap is to be no shorter.
    const double fitting = std::log(1 + total * (gapGrowth - 1) / shortestGap) / std::log(gapGrowth);
    const int tries = options.tries ? options.tries : std::clamp(static_cast<int>(fitting), 1, mostTries);
    return {duration(total), tries, options.timeout <= 0};
}

double expectedMissing(std::size_t found, std::size_t answers, std::size_t rounds)
{
    // The rule of succession: what was never seen to be lost may be lost all the same, the less so the more was seen.
    const auto asked = static_cast<double>(found * rounds);
    const double lost = (asked - static_cast<double>(answers) + 1) / (asked + 2);
    return static_cast<double>(std::max<std::size_t>(found, 1)) * std::pow(lost, static_cast<double>(rounds));
}

Survey::Survey(const Query &query, const std::vector<Interface> &interfaces, const Log &log)
    : m_query(query), m_log(log)
{
    for (const Interface &interface : interfaces) {
        m_outlets.push_back({interface});
        m_log("using " + interface.name + " (" +
              (interface.subnets.empty() ? "no IPv4 address" : interface.subnets[0].text()) +
              (interface.hasLink() ? "" : ", no link") + ")");
    }
}

bool Survey::run(const Plan &plan, const Goal &goal)
{
    const Interrupt interrupt;
    m_goal = goal;
    m_mayEndEarly = plan.mayEndEarly;
    m_start = m_newest = Clock::now();
    for (const auto offset : jittered(sendTimes(plan.total, plan.tries))) {
        if (!gather(m_start + offset, interrupt))
            return false;
        if (const auto end = earlyEnd(); end && *end <= Clock::now())
            return true;
        ask();
        // Then the round counts, which may be the end.
        if (!gather(std::min(Clock::now() + answerTime, m_start + plan.total), interrupt))
            return false;
    }
    return gather(m_start + plan.total, interrupt);
}

std::optional<Clock::time_point> Survey::earlyEnd() const
{
    if (m_reached && m_goal.suffices)
        return m_newest + stragglers;
    const auto now = Clock::now();
    const auto isOver = [now](const Round &round) { return round.asked + answerTime <= now; };
    const auto over = static_cast<std::size_t>(std::count_if(m_rounds.begin(), m_rounds.end(), isOver));
    std::size_t answers = 0;
    for (const auto &[key, found] : m_found)
        answers += static_cast<std::size_t>(std::distance(
            found.rounds.begin(), found.rounds.lower_bound(over))); // those of the latest are still coming
    if (!m_mayEndEarly || !over || expectedMissing(m_found.size(), answers, over) > unlikely)
        return std::nullopt;
    return std::max<Clock::time_point>(m_newest + quietTime, m_reached ? m_start : m_start + patience);
}

void Survey::ask()
{
    m_rounds.push_back({randomTag(), Clock::now()});
    const RequestBytes request = makeBroadcastRequest(m_query.uOP_Code, m_rounds.back().uReqTag);
    for (Outlet &outlet : m_outlets) {
        outlet.error = m_socket.broadcast(request, VXP_REQUEST_PORT, outlet.interface.index);
        outlet.sent |= outlet.error == 0;
        m_log((outlet.error ? "could not ask" : "asked") + (" on " + outlet.interface.name) +
              (outlet.error ? std::string(": ") + strerror(outlet.error) : ""));
    }
}

bool Survey::gather(Clock::time_point deadline, const Interrupt &interrupt)
{
    const auto end = [&] { return std::min(earlyEnd().value_or(deadline), deadline); };
    return gatherUntil(m_socket, interrupt, end, [this](const Datagram &datagram) { take(datagram); });
}

void Survey::take(const Datagram &datagram)
{
    const auto header = readHeader(datagram.bytes);
    const auto round = std::find_if(m_rounds.begin(), m_rounds.end(),
                                    [&header](const Round &one) { return header && header->uReqTag == one.uReqTag; });
    const std::uint16_t uReqTag = round == m_rounds.end() ? m_rounds.back().uReqTag : round->uReqTag;
    const Verdict verdict = judgeReply(datagram.bytes, m_query.uOP_Code, uReqTag, m_query.reply.size);
    m_noise.add(verdict);
    if (verdict != Verdict::wanted)
        return;
    Record record = m_query.reply.decode(datagram.bytes.data() + sizeof(message_t));
    record["from"] = datagram.sender;
    // Devices that could not read their own MAC address are told apart by where they answer from.
    std::string key = record["mac"];
    if (key == "00:00:00:00:00:00")
        key += " " + datagram.sender;
    const auto [entry, isNew] = m_found.try_emplace(key);
    Found &found = entry->second;
    found.record = std::move(record);
    found.interfaces.insert(interfaceName(datagram.index));
    found.rounds.insert(static_cast<std::size_t>(round - m_rounds.begin()));
    if (isNew) {
        m_newest = Clock::now();
        m_reached = m_goal.reached && m_goal.reached();
    }
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

bool Survey::heardAll(const std::vector<Record> &known) const
{
    return !known.empty() && std::all_of(known.begin(), known.end(), [this](const Record &one) { return heard(one); });
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
