// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_PACKET_H
#define VXP_CLIENT_PACKET_H

#include "client/fields.h"
#include "client/protocol.h"

namespace vxpctl
{

struct Endpoint {
    IPv4_Address host{}; // all zeros: not known
    std::uint16_t port = 0;
    std::string hostText() const;
};

// A UDP datagram and its way.
struct Packet {
    Bytes payload{};
    Endpoint source{}, destination{};
    unsigned index = 0; // of the interface; 0: not known
    bool sent = false;  // by this host
};

} // namespace vxpctl

#endif
