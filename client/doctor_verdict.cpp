// SPDX-License-Identifier: Apache-2.0
//
// From what was seen of requests and answers to what is wrong.
#include "client/doctor.h"

#include "client/route.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vxpctl
{
namespace
{

constexpr std::size_t toleratedLoss = 10; // one in so many: devices are busy, and radio is radio

// What came in, as a packet socket saw it, and did not reach the UDP socket.
std::size_t dropped(const Evidence &evidence)
{
    const std::size_t seen = evidence.seen.replies, received = evidence.received.replies;
    return seen > received && (seen - received) * toleratedLoss >= seen ? seen - received : 0;
}

std::string droppedText(const Evidence &evidence)
{
    return std::to_string(dropped(evidence)) + " of " + std::to_string(evidence.seen.replies) +
           " answers that came in on " + evidence.interface.name;
}

std::set<IPv4_Address> droppedSources(const Evidence &evidence)
{
    std::set<IPv4_Address> sources;
    std::set_difference(evidence.seen.sources.begin(), evidence.seen.sources.end(), evidence.received.sources.begin(),
                        evidence.received.sources.end(), std::inserter(sources, sources.end()));
    return sources;
}

// The name of an interface's setting for sysctl(8), which takes dots for slashes.
std::string setting(const std::string &interface, const std::string &name)
{
    return interface.find('.') == interface.npos ? "net.ipv4.conf." + interface + "." + name
                                                 : "net/ipv4/conf/" + interface + "/" + name;
}

// With a route to the source that leaves through the interface, the kernel accepts it in every mode, also where the
// interface has no address. "Loose" accepts it with any other route, but not there.
Finding filtered(const Evidence &evidence, const Examination &examination, const std::string &what)
{
    const std::string &name = evidence.interface.name;
    std::set<std::string> lines;
    bool routed = true;
    for (const IPv4_Address &source : droppedSources(evidence)) {
        routed = routed && routeTo(source);
        Subnet network{source, 32};
        for (const auto &[mac, device] : evidence.seen.devices)
            if (networkOf(device).contains(source))
                network = networkOf(device);
        lines.insert("ip route add " + network.network() + " dev " + name);
    }
    const std::string sysctl = "sysctl -w " + setting(name, "rp_filter");
    if (routed && evidence.reversePath() == 1 && !evidence.interface.subnets.empty())
        lines = {sysctl + "=2"};
    if (lines.empty()) // the sources are not known
        lines = {sysctl + "=0 net.ipv4.conf.all.rp_filter=0"};
    return {routed ? ErrorCode("rp_filter") : ErrorCode("no_route"),
            what + " dropped by the reverse-path filter (rp_filter " +
                std::to_string(static_cast<unsigned>(evidence.reversePath())) + ", IPReversePathFilter rose by " +
                std::to_string(examination.dropsAfter - examination.dropsBefore) + "): this host has no route " +
                (routed ? "through " + name : std::string("at all")) + " to where they come from",
            chained(lines)};
}

std::optional<Finding> isFiltered(const Evidence &evidence, const Examination &examination)
{
    const bool counted = examination.dropsAfter > examination.dropsBefore && evidence.reversePath();
    if (counted && dropped(evidence))
        return filtered(evidence, examination, droppedText(evidence) + " were");
    if (counted && !examination.blindness.empty() && !evidence.received.replies)
        return filtered(evidence, examination,
                        "no answer was received on " + evidence.interface.name + ", and packets were");
    return std::nullopt;
}

std::optional<Finding> isFirewalled(const Evidence &evidence, const Examination &examination)
{
    if (!dropped(evidence))
        return std::nullopt;
    const Firewall &firewall = examination.firewall;
    const auto &chains = firewall.dropping(Firewall::Way::in);
    return Finding{"firewall",
                   droppedText(evidence) + " were dropped by this host" +
                       (!chains.empty()       ? "'s firewall: " + joined(chains)
                        : firewall.readable() ? ", though no nftables chain would"
                                              : ", probably by its firewall, which could not be looked at"),
                   firewall.allow(Firewall::Way::in, evidence.interface.name, VXP_REPLY_PORT)};
}

std::optional<Finding> mayNotSend(const Evidence &evidence, const Examination &examination)
{
    if (evidence.sendError != EPERM && evidence.sendError != EACCES)
        return std::nullopt;
    return Finding{"firewall_out", "this host's firewall does not let requests out on " + evidence.interface.name,
                   examination.firewall.allow(Firewall::Way::out, evidence.interface.name, VXP_REQUEST_PORT)};
}

std::optional<Finding> isDown(const Evidence &evidence, const Examination &)
{
    if (evidence.interface.isUp())
        return std::nullopt;
    return Finding{"interface_down", evidence.interface.name + " is down",
                   "ip link set " + evidence.interface.name + " up"};
}

std::optional<Finding> hasNoLink(const Evidence &evidence, const Examination &)
{
    if (evidence.interface.hasLink())
        return std::nullopt;
    return Finding{"no_link",
                   evidence.interface.name + " has no link: is its cable plugged in, and the other end switched on?",
                   "ip -brief link show dev " + evidence.interface.name};
}

std::optional<Finding> cannotSend(const Evidence &evidence, const Examination &examination)
{
    const std::string &name = evidence.interface.name;
    if (evidence.sendError && !evidence.sent)
        return Finding{"send_failed", "could not send on " + name + ": " + strerror(evidence.sendError),
                       "ip address show dev " + name};
    if (examination.blindness.empty() && !evidence.left)
        return Finding{"not_sent",
                       "none of " + std::to_string(evidence.sent) + " requests left " + name +
                           ": a queue or a filter of this host drops them",
                       "tc -s qdisc show dev " + name};
    return std::nullopt;
}

std::optional<Finding> isLossy(const Evidence &evidence, const Examination &examination)
{
    std::size_t asked = 0, answers = 0;
    for (const auto &[key, tags] : evidence.received.answered) {
        asked += examination.rounds;
        answers += tags.size();
    }
    if (asked < answers + 2 || (asked - answers) * toleratedLoss < asked)
        return std::nullopt;
    return Finding{"loss",
                   std::to_string(asked - answers) + " of " + std::to_string(asked) + " requests on " +
                       evidence.interface.name +
                       " were not answered by devices that answered others: packets get lost on the way",
                   "vxpctl discover -i " + evidence.interface.name + " --timeout 30"};
}

std::optional<Finding> isSilent(const Evidence &evidence, const Examination &examination)
{
    if (evidence.received.replies)
        return std::nullopt;
    std::vector<std::string> linked, others;
    for (const Evidence &one : examination.interfaces)
        (one.interface.hasLink() ? linked : others).push_back(one.interface.name);
    const bool blind = !examination.blindness.empty();
    return Finding{"no_answer",
                   "nobody answers on " + joined(linked) +
                       (others.empty() ? "" : " (" + joined(others) + ": no link)") +
                       (blind ? ", and what this host may drop could not be seen: " + examination.blindness
                              : ", and this host drops nothing: is a device there, switched on, and in the same VLAN?"),
                   blind ? "sudo vxpctl doctor" : "vxpctl watch"};
}

constexpr Check checks[] = {isFiltered, isFirewalled, mayNotSend, isDown,  hasNoLink,
                            cannotSend, checkDevices, isLossy,    isSilent};

// Whether what is wrong with one interface explains what the user sees: one of several may be silent or unplugged.
bool matters(const Finding &finding, const Evidence &evidence, const Examination &examination)
{
    const auto &all = examination.interfaces;
    const auto &named = examination.named;
    const bool answered = std::any_of(all.begin(), all.end(), [](const Evidence &e) { return e.received.replies; });
    const bool linked = std::any_of(all.begin(), all.end(), [](const Evidence &e) { return e.interface.hasLink(); });
    const bool wanted = std::count(named.begin(), named.end(), evidence.interface.name);
    if (finding.verdict == "interface_down" || finding.verdict == "no_link")
        return wanted || (!answered && !linked);
    if (finding.verdict == "send_failed" || finding.verdict == "not_sent")
        return wanted || !answered;
    return finding.verdict != "healthy" && (finding.verdict != "no_answer" || !answered);
}

} // namespace

Finding diagnose(const Evidence &evidence, const Examination &examination)
{
    std::size_t rank = 0;
    for (const Check check : checks) {
        if (auto finding = check(evidence, examination)) {
            finding->rank = rank;
            return *finding;
        }
        rank++;
    }
    return {"healthy", "", "", rank};
}

std::pair<Finding, const Evidence *> conclude(const Examination &examination)
{
    std::pair<Finding, const Evidence *> first{{"healthy", "", "", std::size(checks)}, nullptr};
    for (const Evidence &evidence : examination.interfaces) {
        const Finding finding = diagnose(evidence, examination);
        if (finding.rank < first.first.rank && matters(finding, evidence, examination))
            first = {finding, &evidence};
    }
    return first;
}

} // namespace vxpctl
