// SPDX-License-Identifier: Apache-2.0
//
// Packets in capture files, as tcpdump and Wireshark read and write them.
#ifndef VXP_CLIENT_CAPTURE_H
#define VXP_CLIENT_CAPTURE_H

#include "client/packet.h"

#include <memory>
#include <optional>
#include <pcap/pcap.h>
#include <string>

namespace vxpctl
{

// Takes what this client sends and receives, secrets covered, each packet on the disk before the next. The link type is
// LINUX_SLL2, whose header tells interface and direction; link-layer addresses, IPv4 identification and UDP checksum,
// which a socket never sees, are left empty rather than invented.
class CaptureFile
{
public:
    explicit CaptureFile(const std::string &path); // throws Failure
    void write(const Packet &packet);
    bool isWhole() const { return m_error == 0; }
    std::string error() const; // the first one, for people

private:
    std::string m_path;
    std::unique_ptr<pcap_t, decltype(&pcap_close)> m_pcap;
    std::unique_ptr<pcap_dumper_t, decltype(&pcap_dump_close)> m_dumper;
    int m_error = 0; // errno
};

struct Dissected {
    Packet packet;       // payload lies in the frame
    std::string problem; // what is wrong below the payload; empty when nothing is
};

// The UDP datagram to one of this protocol's two ports that a frame carries; nothing when it carries something else.
// linkType is one of DLT_..., pcap-linktype(7).
std::optional<Dissected> dissect(int linkType, Bytes frame);
bool canDissect(int linkType);

} // namespace vxpctl

#endif
