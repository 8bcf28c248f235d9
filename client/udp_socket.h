// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_UDP_SOCKET_H
#define VXP_CLIENT_UDP_SOCKET_H

#include "client/file_descriptor.h"
#include "client/interrupt.h"
#include "client/log.h"
#include "client/protocol.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace vxpctl
{

using Clock = std::chrono::steady_clock;

inline Clock::duration duration(double seconds)
{
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

struct Datagram {
    Bytes bytes;        // valid until the next receive; cut at 4096 bytes
    std::string sender; // IPv4 address
    unsigned index = 0; // of the interface on which it came in
};

enum class Wake { datagram, deadline, interrupted };

// One socket for all interfaces. It is bound to 0.0.0.0, since a socket bound to one of the host's addresses is never
// given what was broadcast to 255.255.255.255; IP_PKTINFO (ip(7)) chooses and tells the interface. The port is shared
// (SO_REUSEADDR), and the kernel gives each sharer its own copy of every broadcast. Each datagram that is sent or
// received is told to the log.
class UdpSocket
{
public:
    UdpSocket(std::uint16_t port, const Log &log); // throws Failure

    // Broadcast to 255.255.255.255 through one interface. Returns 0 or an errno value.
    int broadcast(Bytes bytes, std::uint16_t port, unsigned index) const;

    // Until a datagram can be received, the deadline has passed (none: never), or the user interrupts.
    Wake wait(std::optional<Clock::time_point> deadline, const Interrupt &interrupt) const;

    // The next datagram, without waiting; nothing when there is none after all. Throws Failure.
    std::optional<Datagram> receive();

private:
    // This socket as an end of what goes through an interface; the host is 0.0.0.0 when the interface has no address.
    Endpoint local(unsigned index) const;

    std::uint16_t m_port;
    const Log &m_log;
    FileDescriptor m_fd;
    std::array<std::uint8_t, VXP_BUFFER_SIZE> m_buffer;
};

} // namespace vxpctl

#endif
