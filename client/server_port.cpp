// SPDX-License-Identifier: Apache-2.0
#include "client/server_port.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <linux/filter.h>
#include <sys/socket.h>
#include <vector>

namespace vxpctl
{
namespace
{

// As a filter sees it.
std::uint32_t inHostOrder(const IPv4_Address &host)
{
    std::uint32_t address;
    std::memcpy(&address, host.data(), sizeof address);
    return ntohl(address);
}

} // namespace

Failure cannotServe(ErrorCode code, const std::string &message, const std::string &hint)
{
    return Failure(ExitCode::localNetwork, {code, message, hint});
}

void Guests::watch(int fd)
{
    const std::lock_guard lock(m_mutex);
    m_fd = fd;
    mustFilter();
}

void Guests::admit(const IPv4_Address &host)
{
    const std::lock_guard lock(m_mutex);
    m_hosts.insert(inHostOrder(host));
    mustFilter();
}

void Guests::dismiss(const IPv4_Address &host) noexcept
{
    const std::lock_guard lock(m_mutex);
    if (const auto found = m_hosts.find(inHostOrder(host)); found != m_hosts.end())
        m_hosts.erase(found);
    filter();
}

// See "Linux Socket Filtering" in the kernel's documentation.
bool Guests::filter() const
{
    constexpr unsigned sourceAddress = 12; // bytes into the IPv4 header
    std::vector<sock_filter> code{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(SKF_NET_OFF) + sourceAddress)};
    for (const std::uint32_t address : m_hosts) {
        code.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, address, 0, 1));
        code.push_back(BPF_STMT(BPF_RET | BPF_K, UINT32_MAX));
    }
    code.push_back(BPF_STMT(BPF_RET | BPF_K, 0));
    const sock_fprog program{static_cast<unsigned short>(code.size()), code.data()};
    return setsockopt(m_fd, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) == 0;
}

void Guests::mustFilter() const
{
    if (!filter())
        throw cannotServe("socket", std::string("cannot filter what reaches the server: ") + strerror(errno), "");
}

FileDescriptor bindServerPort(int type, const std::string &address, std::uint16_t number)
{
    const bool tcp = type == SOCK_STREAM;
    const std::string text = std::to_string(number), name = (tcp ? "TCP port " : "UDP port ") + text;
    FileDescriptor socket(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(number);
    inet_pton(AF_INET, address.c_str(), &local.sin_addr);
    const int on = 1;
    if (tcp) // connections that have just ended do not matter
        setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(socket.get(), reinterpret_cast<const sockaddr *>(&local), sizeof local) == 0)
        return socket;
    if (errno == EADDRINUSE)
        throw cannotServe("port_in_use", name + " is taken by another program, and devices know no other",
                          std::string("find it with: sudo ss -lnp") + (tcp ? "t" : "u") + " 'sport = :" + text +
                              "'; end it, or let it serve the file: --server " + address + " --name FILE");
    if (errno == EACCES || errno == EPERM)
        throw cannotServe("permission",
                          "not permitted to listen on " + name + ", and devices know no other (CAP_NET_BIND_SERVICE)",
                          "run vxpctl with sudo, or allow it to everybody until the next boot: sudo sysctl "
                          "net.ipv4.ip_unprivileged_port_start=" +
                              text);
    throw cannotServe("socket", "cannot listen on " + name + " of " + address + ": " + strerror(errno), "");
}

} // namespace vxpctl
