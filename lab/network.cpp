// SPDX-License-Identifier: Apache-2.0
#include "lab/network.h"

#include "lab/file.h"
#include "lab/process.h"

#include <arpa/inet.h>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <ifaddrs.h>
#include <net/if.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace lab
{

namespace
{

bool isUp(const char *object, const char *field)
{
    return readSetting(object, field) == "up";
}

std::optional<std::uint32_t> parseIPv4(const std::string &text)
{
    in_addr address;
    if (inet_pton(AF_INET, text.c_str(), &address) != 1)
        return {};
    return ntohl(address.s_addr);
}

// What stands in the store came from the network: a text that is no address never reaches a command line.
std::string checked(const char *object, const char *field, int family)
{
    std::string text = readSetting(object, field);
    unsigned char address[16];
    if (text.empty() || inet_pton(family, text.c_str(), address) == 1)
        return text;
    fprintf(stderr, "vxman: %s %s is no address: \"%s\"; left out\n", object, field, text.c_str());
    return "";
}

IPv4 wantedIPv4()
{
    if (isUp("management", "dhcp-status"))
        return {checked("dhcp-lease", "ip", AF_INET), readSetting("dhcp-lease", "mask"),
                checked("dhcp-lease", "gateway", AF_INET)};
    return {checked("management", "static-ip", AF_INET), readSetting("static-ip-route", "mask"),
            checked("static-ip-route", "gateway", AF_INET)};
}

IPv6 wantedIPv6()
{
    if (!isUp("management", "ipv6-status"))
        return {};
    if (isUp("management", "ipv6-autoconfig-status"))
        return {true, true, "", "", ""};
    return {true, false, checked("management", "static-ipv6", AF_INET6),
            readSetting("management", "static-ipv6-prefix-length"), checked("static-ipv6-route", "gateway", AF_INET6)};
}

// 1 to 128; 64 for all else.
std::string usablePrefix(const std::string &text)
{
    const int length = atoi(text.c_str());
    return std::to_string(length >= 1 && length <= 128 ? length : 64);
}

bool isUsable(const IPv4 &wanted)
{
    const auto address = parseIPv4(wanted.address);
    return address && *address != 0 && *address != INADDR_BROADCAST && !IN_MULTICAST(*address) &&
           prefixLength(wanted.mask);
}

void switchKernel(const std::string &interface, const char *name, bool on)
{
    const std::string path = "/proc/sys/net/ipv6/conf/" + interface + "/" + name;
    std::ofstream out(path);
    if (!(out << (on ? "1" : "0") << std::flush))
        fprintf(stderr, "vxman: %s cannot be written: IPv6 stays as it is\n", path.c_str());
}

std::string globalAddresses(const std::string &interface)
{
    std::string list;
    ifaddrs *all = nullptr;
    if (getifaddrs(&all) != 0)
        return list;
    for (const ifaddrs *at = all; at; at = at->ifa_next) {
        if (!at->ifa_addr || at->ifa_addr->sa_family != AF_INET6 || interface != at->ifa_name)
            continue;
        const in6_addr &address = reinterpret_cast<const sockaddr_in6 *>(at->ifa_addr)->sin6_addr;
        char text[INET6_ADDRSTRLEN];
        if (!IN6_IS_ADDR_LINKLOCAL(&address) && inet_ntop(AF_INET6, &address, text, sizeof text))
            list += (list.empty() ? "" : " ") + std::string(text);
    }
    freeifaddrs(all);
    return list;
}

// The 32 hexadecimal digits of the kernel's tables.
std::string addressOf(const std::string &digits)
{
    in6_addr address = {};
    for (std::size_t i = 0; i < 16 && digits.size() == 32; i++)
        address.s6_addr[i] = static_cast<std::uint8_t>(std::stoul(digits.substr(2 * i, 2), nullptr, 16));
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(AF_INET6, &address, text, sizeof text) ? text : "";
}

std::string defaultGateway6(const std::string &interface)
{
    std::ifstream in("/proc/net/ipv6_route");
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string to, toLength, from, fromLength, gateway, metric, references, uses, flags, device;
        words >> to >> toLength >> from >> fromLength >> gateway >> metric >> references >> uses >> flags >> device;
        if (device == interface && toLength == "00" && gateway != std::string(32, '0'))
            return addressOf(gateway);
    }
    return "";
}

void writeResolver(const std::string &first, const std::string &second)
{
    std::string text;
    for (const std::string &server : {first, second})
        if (!server.empty() && server != "0.0.0.0")
            text += "nameserver " + server + "\n";
    writeFile("/etc/resolv.conf", text);
}

} // namespace

std::optional<int> prefixLength(const std::string &mask)
{
    const auto bits = parseIPv4(mask);
    if (!bits || *bits == 0 || std::popcount(*bits) != std::countl_one(*bits))
        return {};
    return std::popcount(*bits);
}

Settings noLease()
{
    Settings lease;
    for (const char *field : {"ip", "mask", "gateway", "dns-1", "dns-2"})
        lease[named("dhcp-lease", field)] = "";
    return lease;
}

void Network::powerUp()
{
    m_ipv4 = {};
    m_ipv6.reset();
    run({"ip", "link", "set", m_interface, "up"});
}

void Network::powerDown()
{
    run({"ip", "-4", "address", "flush", "dev", m_interface});
    run({"ip", "link", "set", m_interface, "down"});
}

std::string Network::mac() const
{
    ifreq request = {};
    m_interface.copy(request.ifr_name, IFNAMSIZ - 1);
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int result = ioctl(fd, SIOCGIFHWADDR, &request);
    const int error = errno;
    close(fd);
    if (result != 0)
        throw std::system_error(error, std::generic_category(), "the interface " + m_interface);
    unsigned char octets[6];
    memcpy(octets, request.ifr_hwaddr.sa_data, sizeof octets);
    char text[18];
    snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", octets[0], octets[1], octets[2], octets[3], octets[4],
             octets[5]);
    return text;
}

bool Network::apply()
{
    if (const IPv4 wanted = wantedIPv4(); wanted != m_ipv4)
        applyIPv4(wanted);
    if (const IPv6 wanted = wantedIPv6(); wanted != m_ipv6)
        applyIPv6(wanted);
    reportIPv4();
    reportIPv6();
    return !m_ipv4.address.empty();
}

// A device that gave up a good address for none would be out of reach for ever: what cannot be used changes nothing.
void Network::applyIPv4(const IPv4 &wanted)
{
    const bool none = wanted.address.empty() && isUp("management", "dhcp-status"); // a lease that has ended
    if (!none && !isUsable(wanted)) {
        fprintf(stderr, "vxman: \"%s\" with the mask \"%s\" is not usable on an interface; keeping \"%s\"\n",
                wanted.address.c_str(), wanted.mask.c_str(), m_ipv4.address.c_str());
        return;
    }
    run({"ip", "-4", "address", "flush", "dev", m_interface});
    m_ipv4 = {};
    if (none)
        return;
    const std::string length = std::to_string(*prefixLength(wanted.mask));
    if (!run({"ip", "address", "add", wanted.address + "/" + length, "brd", "+", "dev", m_interface}))
        return;
    m_ipv4 = wanted;
    const bool routed = !wanted.gateway.empty() && wanted.gateway != "0.0.0.0";
    if (routed && !run({"ip", "-4", "route", "replace", "default", "via", wanted.gateway, "dev", m_interface}))
        fprintf(stderr, "vxman: the gateway %s is not in the network of %s/%s; there is no default route\n",
                wanted.gateway.c_str(), wanted.address.c_str(), length.c_str());
}

void Network::applyIPv6(const IPv6 &wanted)
{
    m_ipv6 = wanted;
    switchKernel(m_interface, "disable_ipv6", true); // takes all addresses and routes away
    if (!wanted.up)
        return;
    switchKernel(m_interface, "accept_ra", wanted.automatic);
    switchKernel(m_interface, "autoconf", wanted.automatic);
    switchKernel(m_interface, "disable_ipv6", false);
    if (wanted.address.empty())
        return;
    run({"ip", "-6", "address", "add", wanted.address + "/" + usablePrefix(wanted.prefix), "dev", m_interface,
         "nodad"});
    if (!wanted.gateway.empty())
        run({"ip", "-6", "route", "replace", "default", "via", wanted.gateway, "dev", m_interface});
}

void Network::reportIPv4() const
{
    const bool leased = isUp("host", "dns-via-dhcp");
    const std::string dns1 = leased ? readSetting("dhcp-lease", "dns-1") : readSetting("host", "static-dns-1");
    const std::string dns2 = leased ? readSetting("dhcp-lease", "dns-2") : readSetting("host", "static-dns-2");
    updateSettings({{named("management", "ip"), m_ipv4.address},
                    {named("management", "mask"), m_ipv4.mask},
                    {named("ip-route", "gateway"), m_ipv4.gateway},
                    {named("host", "dns-1"), dns1},
                    {named("host", "dns-2"), dns2}});
    writeResolver(dns1, dns2);
}

void Network::reportIPv6() const
{
    const bool automatic = m_ipv6 && m_ipv6->automatic;
    updateSettings({{named("management", "autoconfig-ipv6-global-all"), automatic ? globalAddresses(m_interface) : ""},
                    {named("management", "ipv6-default-gateway"), automatic ? defaultGateway6(m_interface) : ""}});
}

} // namespace lab
