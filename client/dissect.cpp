// SPDX-License-Identifier: Apache-2.0
#include "client/capture.h"

#include <algorithm>
#include <net/ethernet.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <pcap/sll.h>

namespace vxpctl
{
namespace
{

// Where a link type's header has the protocol number (EtherType), and where it ends.
struct LinkHeader {
    int linkType;
    std::size_t typeOffset, size; // size 0: none, the frame is an IP packet
};

constexpr std::size_t familyOffset = 4; // DLT_NULL, DLT_LOOP: an address family of the machine that captured
constexpr LinkHeader linkHeaders[] = {
    {DLT_EN10MB, 12, 14},
    {DLT_LINUX_SLL, 14, 16},
    {DLT_LINUX_SLL2, offsetof(sll2_header, sll2_protocol), sizeof(sll2_header)},
    {DLT_RAW, 0, 0},
    {DLT_IPV4, 0, 0},
    {DLT_NULL, 0, 4},
    {DLT_LOOP, 0, 4},
};
static_assert(sizeof(sll2_header) == 20 && familyOffset == 4);

const LinkHeader *findHeader(int linkType)
{
    const auto *pFound = std::find_if(std::begin(linkHeaders), std::end(linkHeaders),
                                      [linkType](const LinkHeader &header) { return header.linkType == linkType; });
    return pFound == std::end(linkHeaders) ? nullptr : pFound;
}

std::uint16_t bigEndian16(Bytes bytes, std::size_t offset)
{
    return static_cast<std::uint16_t>(bytes[offset] << 8 | bytes[offset + 1]);
}

// What is behind the link header and any VLAN tags, when that is IPv4.
Bytes ipv4Packet(const LinkHeader &header, Bytes frame)
{
    std::size_t size = header.size;
    if (frame.size() < size)
        return {};
    if (size > familyOffset) {
        std::uint16_t type = bigEndian16(frame, header.typeOffset);
        for (; (type == ETHERTYPE_VLAN || type == 0x88A8) && frame.size() >= size + 4; size += 4)
            type = bigEndian16(frame, size + 2);
        if (type != ETHERTYPE_IP)
            return {};
    }
    const Bytes packet = frame.subspan(size);
    return packet.size() >= sizeof(iphdr) && packet[0] >> 4 == IPVERSION ? packet : Bytes();
}

Endpoint endpoint(Bytes ip, std::size_t hostOffset, std::uint16_t port)
{
    Endpoint result;
    std::copy_n(ip.begin() + static_cast<std::ptrdiff_t>(hostOffset), result.host.size(), result.host.begin());
    result.port = port;
    return result;
}

std::string cutOff(std::size_t present, std::size_t length)
{
    return "the capture has " + std::to_string(present) + " of " + std::to_string(length) + " bytes";
}

} // namespace

bool canDissect(int linkType)
{
    return findHeader(linkType);
}

std::optional<Dissected> dissect(int linkType, Bytes frame)
{
    const LinkHeader *pHeader = findHeader(linkType);
    const Bytes ip = pHeader ? ipv4Packet(*pHeader, frame) : Bytes();
    if (ip.empty() || ip[offsetof(iphdr, protocol)] != IPPROTO_UDP)
        return std::nullopt;
    const std::size_t headerSize = (ip[0] & 0x0FU) * 4;
    const std::uint16_t fragment = bigEndian16(ip, offsetof(iphdr, frag_off));
    if (headerSize < sizeof(iphdr) || ip.size() < headerSize + sizeof(udphdr) || fragment & IP_OFFMASK)
        return std::nullopt; // no first fragment, so its ports are not known
    const Bytes udp = ip.subspan(headerSize);
    const std::uint16_t port = bigEndian16(udp, offsetof(udphdr, dest));
    if (port != VXP_REQUEST_PORT && port != VXP_REPLY_PORT)
        return std::nullopt;

    Dissected result{};
    result.packet.source = endpoint(ip, offsetof(iphdr, saddr), bigEndian16(udp, offsetof(udphdr, source)));
    result.packet.destination = endpoint(ip, offsetof(iphdr, daddr), port);
    if (linkType == DLT_LINUX_SLL2) {
        result.packet.index = static_cast<unsigned>(bigEndian16(frame, 4) << 16 | bigEndian16(frame, 6));
        result.packet.sent = frame[offsetof(sll2_header, sll2_pkttype)] == LINUX_SLL_OUTGOING;
    }
    const std::size_t length = bigEndian16(udp, offsetof(udphdr, len));
    const std::size_t whole = bigEndian16(ip, offsetof(iphdr, tot_len));
    if (fragment & IP_MF)
        result.problem = "a fragment: the rest of the datagram is in other packets";
    else if (length < sizeof(udphdr) || headerSize + length > whole)
        result.problem = "UDP length " + std::to_string(length) + " does not fit an IPv4 packet of " +
                         std::to_string(whole) + " bytes";
    else if (length > udp.size())
        result.problem = cutOff(udp.size() - sizeof(udphdr), length - sizeof(udphdr));
    result.packet.payload = udp.first(std::clamp(length, sizeof(udphdr), udp.size())).subspan(sizeof(udphdr));
    return result;
}

} // namespace vxpctl
