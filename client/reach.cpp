// SPDX-License-Identifier: Apache-2.0
#include "client/interfaces.h"
#include "client/interrupt.h"
#include "client/transfer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>

namespace vxpctl
{
namespace
{

constexpr int knockTime = 2000; // ms

in_addr_t parsed(const Record &text)
{
    in_addr address{};
    if (text.is_string())
        inet_pton(AF_INET, text.get_ref<const std::string &>().c_str(), &address);
    return address.s_addr;
}

std::string formatted(const sockaddr *pAddress)
{
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in *>(pAddress)->sin_addr, text, sizeof text);
}

// The address of this host in the device's network, on an interface on which the device was heard; empty when it has
// none.
std::string neighborAddress(const Device &device)
{
    const in_addr_t mask = parsed(device.identity["mask"]), network = parsed(device.identity["ip"]) & mask;
    ifaddrs *pFirst = nullptr;
    if (!network || getifaddrs(&pFirst) != 0)
        return "";
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> all(pFirst, freeifaddrs);
    for (const ifaddrs *p = pFirst; p; p = p->ifa_next)
        if (p->ifa_addr && p->ifa_addr->sa_family == AF_INET &&
            (reinterpret_cast<const sockaddr_in *>(p->ifa_addr)->sin_addr.s_addr & mask) == network &&
            std::count(device.interfaces.begin(), device.interfaces.end(), if_nametoindex(p->ifa_name)))
            return formatted(p->ifa_addr);
    return "";
}

// Knocks at the device's web port: open or closed, an answer shows that there is a way, and from which address. Empty
// when there is none.
std::string routedAddress(const Device &device)
{
    const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(80);
    address.sin_addr.s_addr = parsed(device.identity["ip"]);
    if (!address.sin_addr.s_addr ||
        connect(socket.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 || errno != EINPROGRESS)
        return "";
    socklen_t length = sizeof address;
    getsockname(socket.get(), reinterpret_cast<sockaddr *>(&address), &length);
    const Interrupt interrupt;
    pollfd watched[] = {{socket.get(), POLLOUT, 0}, {interrupt.fd(), POLLIN, 0}};
    int error = ETIMEDOUT;
    length = sizeof error;
    const int ready = poll(watched, std::size(watched), knockTime);
    if (watched[1].revents)
        throw Failure(ExitCode::interrupted, {"interrupted", "interrupted; nothing was begun", ""});
    if (ready == 1)
        getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &length);
    return !error || error == ECONNREFUSED ? formatted(reinterpret_cast<sockaddr *>(&address)) : "";
}

} // namespace

std::string addressFor(const Device &device)
{
    std::string address = neighborAddress(device);
    if (address.empty() && !device.identity["gateway"].is_null())
        address = routedAddress(device);
    if (!address.empty())
        return address;
    const std::string interface = device.interfaces.empty() ? "IFACE" : interfaceName(device.interfaces[0]);
    throw Failure(ExitCode::localNetwork,
                  {"unreachable",
                   device.label() + ": has no way to this host, which has no address in the network of " +
                       device.identity["ip"].dump() + ", mask " + device.identity["mask"].dump() + "; nothing was sent",
                   "add a free address of that network here: sudo ip address add ADDRESS/LENGTH dev " + interface +
                       "; or give the device one of ours: vxpctl network set",
                   device.macText()});
}

} // namespace vxpctl
