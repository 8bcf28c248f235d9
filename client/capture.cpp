// SPDX-License-Identifier: Apache-2.0
#include "client/capture.h"

#include "client/failure.h"
#include "client/operations.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <net/ethernet.h>
#include <net/if_arp.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <pcap/sll.h>
#include <sys/time.h>

namespace vxpctl
{
namespace
{

constexpr int longestFrame = 65535; // bytes
constexpr std::uint8_t timeToLive = 64;

std::uint16_t headerChecksum(const iphdr &header)
{
    std::uint32_t sum = 0;
    std::uint16_t words[sizeof header / 2];
    std::memcpy(words, &header, sizeof words);
    for (const std::uint16_t word : words)
        sum += word;
    sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<std::uint16_t>(~(sum + (sum >> 16)));
}

struct Headers {
    sll2_header link;
    iphdr ip;
    udphdr udp;
};
static_assert(sizeof(Headers) == 20 + 20 + 8);

Headers headersOf(const Packet &packet)
{
    Headers headers{};
    headers.link.sll2_protocol = htons(ETHERTYPE_IP);
    headers.link.sll2_if_index = htonl(packet.index);
    headers.link.sll2_hatype = htons(ARPHRD_ETHER);
    headers.link.sll2_pkttype = packet.sent ? LINUX_SLL_OUTGOING : LINUX_SLL_BROADCAST;
    const auto udpLength = static_cast<std::uint16_t>(sizeof headers.udp + packet.payload.size());
    headers.ip.version = IPVERSION;
    headers.ip.ihl = sizeof headers.ip / 4;
    headers.ip.tot_len = htons(static_cast<std::uint16_t>(sizeof headers.ip + udpLength));
    headers.ip.ttl = timeToLive;
    headers.ip.protocol = IPPROTO_UDP;
    std::memcpy(&headers.ip.saddr, packet.source.host.data(), sizeof headers.ip.saddr);
    std::memcpy(&headers.ip.daddr, packet.destination.host.data(), sizeof headers.ip.daddr);
    headers.ip.check = headerChecksum(headers.ip);
    headers.udp.source = htons(packet.source.port);
    headers.udp.dest = htons(packet.destination.port);
    headers.udp.len = htons(udpLength);
    return headers;
}

} // namespace

std::string Endpoint::hostText() const
{
    return dotted(host);
}

CaptureFile::CaptureFile(const std::string &path)
    : m_path(path), m_pcap(pcap_open_dead(DLT_LINUX_SLL2, longestFrame), pcap_close), m_dumper(nullptr, pcap_dump_close)
{
    if (path == "-")
        throw Failure(ExitCode::usage, {"usage", "--pcap needs a file: standard output is for the results", ""});
    m_dumper.reset(pcap_dump_open(m_pcap.get(), path.c_str()));
    if (!m_dumper)
        throw Failure(ExitCode::failure, {"capture_unwritable", pcap_geterr(m_pcap.get()),
                                          "nothing was sent; name another file after --pcap"});
}

void CaptureFile::write(const Packet &packet)
{
    Packet shown = packet;
    const auto covered = withoutSecrets(packet.payload);
    shown.payload = covered;
    const Headers headers = headersOf(shown);
    std::vector<std::uint8_t> frame(sizeof headers + covered.size());
    std::memcpy(frame.data(), &headers, sizeof headers);
    std::copy(covered.begin(), covered.end(), frame.begin() + sizeof headers);
    pcap_pkthdr record{};
    gettimeofday(&record.ts, nullptr);
    record.caplen = record.len = static_cast<bpf_u_int32>(frame.size());
    pcap_dump(reinterpret_cast<u_char *>(m_dumper.get()), &record, frame.data());
    if (pcap_dump_flush(m_dumper.get()) != 0 && !m_error)
        m_error = errno;
}

std::string CaptureFile::error() const
{
    return m_path + " is not whole: " + strerror(m_error);
}

} // namespace vxpctl
