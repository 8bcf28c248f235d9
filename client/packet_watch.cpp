// SPDX-License-Identifier: Apache-2.0
#include "client/packet_watch.h"

#include "client/capture.h"

namespace vxpctl
{
namespace
{

constexpr int longestFrame = 2048;      // bytes: the ring holds frames of this size
constexpr int ringSize = 4 * (1 << 20); // bytes

// The ports of a bridge see a broadcast once each, which would fill the ring: other interfaces are left out.
std::string filter(const std::vector<unsigned> &indexes)
{
    std::string interfaces;
    for (const unsigned index : indexes)
        interfaces += (interfaces.empty() ? "ifindex " : " or ifindex ") + std::to_string(index);
    return "(udp port " + std::to_string(VXP_REQUEST_PORT) + " or udp port " + std::to_string(VXP_REPLY_PORT) +
           ") and (" + interfaces + ")";
}

bool start(pcap_t *pPcap, const std::string &filter)
{
    char message[PCAP_ERRBUF_SIZE];
    if (pcap_set_snaplen(pPcap, longestFrame) || pcap_set_immediate_mode(pPcap, 1) ||
        pcap_set_buffer_size(pPcap, ringSize) || pcap_activate(pPcap) < 0 || pcap_set_datalink(pPcap, DLT_LINUX_SLL2) ||
        pcap_setnonblock(pPcap, 1, message))
        return false;
    bpf_program program;
    if (pcap_compile(pPcap, &program, filter.c_str(), 1, PCAP_NETMASK_UNKNOWN))
        return false;
    const bool set = pcap_setfilter(pPcap, &program) == 0;
    pcap_freecode(&program);
    return set;
}

void hand(u_char *pTake, const pcap_pkthdr *pHeader, const u_char *pFrame)
{
    const auto &take = *reinterpret_cast<const std::function<void(const Packet &)> *>(pTake);
    if (const auto seen = dissect(DLT_LINUX_SLL2, Bytes(pFrame, pHeader->caplen)))
        take(seen->packet);
}

} // namespace

PacketWatch::PacketWatch(const std::vector<unsigned> &indexes) : m_pcap(nullptr, pcap_close)
{
    char message[PCAP_ERRBUF_SIZE] = "";
    m_pcap.reset(pcap_create("any", message));
    if (m_pcap && start(m_pcap.get(), filter(indexes)))
        return;
    m_problem = m_pcap ? pcap_geterr(m_pcap.get()) : message;
    m_pcap.reset();
}

void PacketWatch::read(const std::function<void(const Packet &)> &take)
{
    auto *pTake = reinterpret_cast<u_char *>(const_cast<std::function<void(const Packet &)> *>(&take));
    while (m_pcap && pcap_dispatch(m_pcap.get(), -1, hand, pTake) > 0) {
    }
}

} // namespace vxpctl
