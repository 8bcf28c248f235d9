// SPDX-License-Identifier: Apache-2.0
//
// Asks as a search does, and watches requests and answers on their way.
#include "client/doctor.h"

#include "client/packet_watch.h"
#include "client/route.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

namespace vxpctl
{
namespace
{

constexpr IPv4_Address anywhere{192, 0, 2, 1};           // RFC 5737: nobody has a route of its own for it
constexpr auto delivery = std::chrono::milliseconds(50); // from a packet socket to the UDP socket, at most

constexpr Query queries[] = {{VXP_OP_DISCOVER, bodyFormat<DiscoverReply>},
                             {VXP_OP_QUERY_NEIGHBOR, bodyFormat<NeighborReply>}};

struct Request {
    const Query *pQuery;
    std::uint16_t uReqTag;
};

int reversePathFilter(const std::string &interface)
{
    int value = 0;
    std::ifstream("/proc/sys/net/ipv4/conf/" + interface + "/rp_filter") >> value;
    return value;
}

// Of /proc/net/netstat: pairs of lines, names and values.
unsigned long reversePathDrops()
{
    std::ifstream file("/proc/net/netstat");
    for (std::string names, values; std::getline(file, names) && std::getline(file, values);) {
        std::istringstream nameWords(names), valueWords(values);
        for (std::string name, value; nameWords >> name && valueWords >> value;)
            if (name == "IPReversePathFilter")
                return std::stoul(value);
    }
    return 0;
}

class Probe
{
public:
    Probe(Examination &examination, const Log &log) : m_examination(examination), m_log(log)
    {
        m_examination.blindness = m_watch.problem();
    }
    bool run(const Plan &plan)
    {
        const Interrupt interrupt;
        const auto start = Clock::now();
        for (const auto offset : jittered(sendTimes(plan.total, plan.tries))) {
            if (!gather(start + offset, interrupt))
                return false;
            ask();
        }
        // What the packet socket has seen by now gets the time to arrive: else it would seem to be dropped.
        return gather(start + plan.total, interrupt) && gather(Clock::now() + delivery, interrupt, false);
    }

private:
    void ask()
    {
        m_examination.rounds++;
        for (const Query &query : queries)
            for (Evidence &evidence : m_examination.interfaces)
                if (evidence.interface.isUp())
                    send(evidence, query);
    }
    void send(Evidence &evidence, const Query &query)
    {
        const Request request = m_requests.emplace_back(Request{&query, randomTag()});
        const RequestBytes bytes = makeBroadcastRequest(query.uOP_Code, request.uReqTag);
        const int error = m_socket.broadcast(bytes, VXP_REQUEST_PORT, evidence.interface.index);
        evidence.sent += error == 0;
        evidence.sendError = error ? error : evidence.sendError;
        if (error)
            m_log("could not ask on " + evidence.interface.name + ": " + strerror(error));
    }
    bool gather(Clock::time_point deadline, const Interrupt &interrupt, bool watched = true)
    {
        const auto whole = [deadline] { return std::optional(deadline); };
        const bool complete = gatherUntil(m_socket, interrupt, whole, [this](const Datagram &datagram) {
            if (Evidence *pEvidence = find(datagram.index))
                add(pEvidence->received, datagram.bytes, parseIPv4(datagram.sender).value_or(IPv4_Address{}));
        });
        if (watched)
            m_watch.read([this](const Packet &packet) { take(packet); });
        return complete;
    }
    void take(const Packet &packet)
    {
        Evidence *pEvidence = find(packet.index);
        if (!pEvidence)
            return;
        if (packet.sent)
            pEvidence->left += isOurs(packet.payload);
        else
            add(pEvidence->seen, packet.payload, packet.source.host);
    }
    bool isOurs(Bytes datagram) const
    {
        const auto header = readHeader(datagram);
        return header && header->uID == VXP_ID_REQUEST &&
               std::any_of(m_requests.begin(), m_requests.end(),
                           [&header](const Request &request) { return request.uReqTag == header->uReqTag; });
    }
    void add(Heard &heard, Bytes datagram, const IPv4_Address &source) const
    {
        const auto isAnswer = [datagram](const Request &request) {
            const auto &[uOP_Code, reply] = *request.pQuery;
            return judgeReply(datagram, uOP_Code, request.uReqTag, reply.size) == Verdict::wanted;
        };
        const auto request = std::find_if(m_requests.begin(), m_requests.end(), isAnswer);
        if (request == m_requests.end())
            return;
        const auto &[uOP_Code, reply] = *request->pQuery;
        const Record record = reply.decode(datagram.data() + sizeof(message_t));
        const std::string mac = record["mac"];
        heard.replies++;
        heard.sources.insert(source);
        heard.answered[{mac, uOP_Code}].insert(request->uReqTag);
        if (uOP_Code == VXP_OP_DISCOVER)
            heard.devices.insert_or_assign(mac, record);
    }
    std::vector<unsigned> indexes() const
    {
        std::vector<unsigned> all;
        for (const Evidence &evidence : m_examination.interfaces)
            all.push_back(evidence.interface.index);
        return all;
    }
    Evidence *find(unsigned index)
    {
        auto &all = m_examination.interfaces;
        const auto found =
            std::find_if(all.begin(), all.end(), [index](const Evidence &e) { return e.interface.index == index; });
        return found == all.end() ? nullptr : &*found;
    }

    Examination &m_examination;
    const Log &m_log;
    UdpSocket m_socket{VXP_REPLY_PORT, m_log};
    PacketWatch m_watch{indexes()};
    std::vector<Request> m_requests{};
};

} // namespace

bool probe(Examination &examination, const Plan &plan, const Log &log)
{
    const auto outward = routeTo(anywhere);
    for (Evidence &evidence : examination.interfaces) {
        evidence.reversePathAll = reversePathFilter("all");
        evidence.reversePathOwn = reversePathFilter(evidence.interface.name);
        evidence.defaultRoute = outward && outward->index == evidence.interface.index;
    }
    examination.firewall = Firewall::ofThisHost();
    examination.dropsBefore = reversePathDrops();
    const bool complete = Probe(examination, log).run(plan);
    examination.dropsAfter = reversePathDrops();
    return complete;
}

} // namespace vxpctl
