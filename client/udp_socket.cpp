// SPDX-License-Identifier: Apache-2.0
#include "client/udp_socket.h"

#include "client/failure.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace vxpctl
{
namespace
{

constexpr int receiveBuffer = 1 << 20; // bytes: the answers of a large site come within a few milliseconds

// Room for one IP_PKTINFO control message.
union PacketInfoBuffer {
    cmsghdr alignment;
    char bytes[CMSG_SPACE(sizeof(in_pktinfo))];
};

sockaddr_in addressOf(in_addr_t host, std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(host);
    address.sin_port = htons(port);
    return address;
}

Endpoint endpointOf(const sockaddr_in &address)
{
    Endpoint result;
    std::memcpy(result.host.data(), &address.sin_addr, result.host.size());
    result.port = ntohs(address.sin_port);
    return result;
}

Failure socketFailure(std::uint16_t port)
{
    const int error = errno;
    const std::string name = "UDP port " + std::to_string(port);
    const std::string number = std::to_string(port);
    if (error == EADDRINUSE)
        return Failure(ExitCode::localNetwork, {"port_in_use", name + " is taken by a program that does not share it",
                                                "find it with: ss -ulpn 'sport = :" + number +
                                                    "'; it is another management tool, or a device's own " +
                                                    "daemon on this host, and has to end first"});
    if (error == EACCES || error == EPERM)
        return Failure(ExitCode::localNetwork,
                       {"permission", "not permitted to use " + name + ": " + strerror(error),
                        "a sandbox or a security policy of this host forbids it; run vxpctl outside of it"});
    return Failure(ExitCode::localNetwork, {"socket", "cannot use " + name + ": " + strerror(error),
                                            "'ip -brief address' shows whether this host has IPv4 at all"});
}

bool enable(int fd, int level, int option, int value = 1)
{
    return setsockopt(fd, level, option, &value, sizeof value) == 0;
}

in_pktinfo arrivalOf(msghdr &message)
{
    for (cmsghdr *pControl = CMSG_FIRSTHDR(&message); pControl; pControl = CMSG_NXTHDR(&message, pControl)) {
        if (pControl->cmsg_level != IPPROTO_IP || pControl->cmsg_type != IP_PKTINFO)
            continue;
        in_pktinfo info;
        std::memcpy(&info, CMSG_DATA(pControl), sizeof info);
        return info;
    }
    return {};
}

} // namespace

UdpSocket::UdpSocket(std::uint16_t port, const Log &log)
    : m_port(port), m_log(log), m_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    const int fd = m_fd.get();
    const sockaddr_in address = addressOf(INADDR_ANY, port);
    if (fd < 0 || !enable(fd, SOL_SOCKET, SO_REUSEADDR) || !enable(fd, SOL_SOCKET, SO_BROADCAST) ||
        !enable(fd, IPPROTO_IP, IP_PKTINFO) ||
        bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        throw socketFailure(port);
    enable(fd, SOL_SOCKET, SO_RCVBUF, receiveBuffer); // a wish: the kernel gives what it allows
}

Endpoint UdpSocket::local(unsigned index) const
{
    ifreq request{};
    sockaddr_in address{};
    if (if_indextoname(index, request.ifr_name) && ioctl(m_fd.get(), SIOCGIFADDR, &request) == 0)
        std::memcpy(&address, &request.ifr_addr, sizeof address);
    address.sin_port = htons(m_port);
    return endpointOf(address);
}

int UdpSocket::broadcast(Bytes bytes, std::uint16_t port, unsigned index) const
{
    sockaddr_in address = addressOf(INADDR_BROADCAST, port);
    iovec data{const_cast<std::uint8_t *>(bytes.data()), bytes.size()};
    PacketInfoBuffer control{};
    msghdr message{};
    message.msg_name = &address;
    message.msg_namelen = sizeof address;
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    cmsghdr *pControl = CMSG_FIRSTHDR(&message);
    pControl->cmsg_level = IPPROTO_IP;
    pControl->cmsg_type = IP_PKTINFO;
    pControl->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info{};
    info.ipi_ifindex = static_cast<int>(index);
    std::memcpy(CMSG_DATA(pControl), &info, sizeof info);
    if (sendmsg(m_fd.get(), &message, 0) < 0)
        return errno;
    m_log.packet({bytes, local(index), endpointOf(address), index, true});
    return 0;
}

Wake UdpSocket::wait(std::optional<Clock::time_point> deadline, const Interrupt &interrupt) const
{
    using namespace std::chrono;
    pollfd watched[] = {{m_fd.get(), POLLIN, 0}, {interrupt.fd(), POLLIN, 0}};
    for (;;) {
        timespec left{};
        if (deadline) {
            const auto nanos = duration_cast<nanoseconds>(*deadline - Clock::now()).count();
            if (nanos <= 0)
                return Wake::deadline;
            left = {static_cast<time_t>(nanos / 1'000'000'000), static_cast<long>(nanos % 1'000'000'000)};
        }
        if (ppoll(watched, 2, deadline ? &left : nullptr, nullptr) <= 0)
            continue;
        return watched[1].revents ? Wake::interrupted : Wake::datagram;
    }
}

std::optional<Datagram> UdpSocket::receive()
{
    sockaddr_in sender{};
    iovec data{m_buffer.data(), m_buffer.size()};
    PacketInfoBuffer control;
    msghdr message{};
    message.msg_name = &sender;
    message.msg_namelen = sizeof sender;
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    const ssize_t size = recvmsg(m_fd.get(), &message, 0);
    if (size < 0) {
        // The kernel tells of an interface that went down, of a bad checksum or of a shortage once, and goes on.
        if (errno == EAGAIN || errno == EINTR || errno == ENETDOWN || errno == ENOBUFS || errno == ENOMEM)
            return std::nullopt;
        throw Failure(ExitCode::localNetwork, {"receive", std::string("cannot receive: ") + strerror(errno), ""});
    }
    const in_pktinfo arrival = arrivalOf(message);
    sockaddr_in destination = addressOf(INADDR_ANY, m_port);
    destination.sin_addr = arrival.ipi_addr;
    const Packet packet{Bytes(m_buffer.data(), static_cast<std::size_t>(size)), endpointOf(sender),
                        endpointOf(destination), static_cast<unsigned>(arrival.ipi_ifindex)};
    m_log.packet(packet);
    return Datagram{packet.payload, packet.source.hostText(), packet.index};
}

} // namespace vxpctl
