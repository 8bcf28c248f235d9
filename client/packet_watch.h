// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_PACKET_WATCH_H
#define VXP_CLIENT_PACKET_WATCH_H

#include "client/packet.h"

#include <functional>
#include <memory>
#include <pcap/pcap.h>
#include <string>
#include <vector>

namespace vxpctl
{

// This protocol's datagrams as a packet socket sees them on some interfaces from now on: before the reverse-path filter
// and the firewall when they come in, behind the firewall when they go out.
class PacketWatch
{
public:
    explicit PacketWatch(const std::vector<unsigned> &indexes); // of the interfaces
    const std::string &problem() const { return m_problem; } // why nothing can be seen (CAP_NET_RAW); empty when it can
    void read(const std::function<void(const Packet &)> &take); // what was seen since the last time

private:
    std::unique_ptr<pcap_t, decltype(&pcap_close)> m_pcap;
    std::string m_problem{};
};

} // namespace vxpctl

#endif
