// SPDX-License-Identifier: Apache-2.0
#include "client/interfaces.h"

#include "client/failure.h"

#include <algorithm>
#include <arpa/inet.h>
#include <bit>
#include <cerrno>
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>

namespace vxpctl
{
namespace
{

Failure localNetwork(ErrorCode code, std::string message, std::string hint)
{
    return Failure(ExitCode::localNetwork, {code, std::move(message), std::move(hint)});
}

auto findByName(auto &interfaces, std::string_view name)
{
    return std::find_if(interfaces.begin(), interfaces.end(), [name](const Interface &i) { return i.name == name; });
}

bool isUsable(const Interface &interface)
{
    return interface.isUp() && interface.canBroadcast() && !interface.port;
}

std::string usableNames(const std::vector<Interface> &all)
{
    std::string names;
    for (const Interface &interface : all)
        if (isUsable(interface))
            names += (names.empty() ? "" : ", ") + interface.name;
    return names.empty() ? "none is usable now; 'ip -brief link' lists them all" : "usable now: " + names;
}

const Interface &chooseInterface(const std::vector<Interface> &all, const std::string &name)
{
    const auto found = findByName(all, name);
    if (found == all.end())
        throw localNetwork("interface_not_found", "this host has no network interface '" + name + "'",
                           usableNames(all));
    if (!found->isUp())
        throw localNetwork("interface_down", "network interface '" + name + "' is down",
                           "bring it up with 'ip link set " + name + " up', or choose another; " + usableNames(all));
    if (!found->canBroadcast())
        throw localNetwork("interface_unusable", "network interface '" + name + "' cannot broadcast",
                           "choose one that is on the devices' network segment; " + usableNames(all));
    return *found;
}

std::uint32_t number(const IPv4_Address &address)
{
    return std::uint32_t{address[0]} << 24 | std::uint32_t{address[1]} << 16 | std::uint32_t{address[2]} << 8 |
           address[3];
}

std::uint32_t mask(unsigned length)
{
    return length ? ~std::uint32_t{0} << (32 - length) : 0;
}

std::string subnetText(std::uint32_t address, unsigned length)
{
    const in_addr bytes{htonl(address)};
    char out[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &bytes, out, sizeof out) + ("/" + std::to_string(length));
}

Subnet subnetOf(const ifaddrs &entry)
{
    sockaddr_in address, netmask;
    std::memcpy(&address, entry.ifa_addr, sizeof address);
    std::memcpy(&netmask, entry.ifa_netmask, sizeof netmask);
    Subnet result;
    std::memcpy(result.address.data(), &address.sin_addr, result.address.size());
    result.length = static_cast<unsigned>(std::popcount(netmask.sin_addr.s_addr));
    return result;
}

} // namespace

bool Subnet::contains(const IPv4_Address &other) const
{
    return ((number(address) ^ number(other)) & mask(length)) == 0;
}

std::string Subnet::addressText() const
{
    return text().substr(0, text().find('/'));
}

std::string Subnet::text() const
{
    return subnetText(number(address), length);
}

std::string Subnet::network() const
{
    return subnetText(number(address) & mask(length), length);
}

bool Interface::isUp() const
{
    return flags & IFF_UP;
}

bool Interface::canBroadcast() const
{
    return (flags & IFF_BROADCAST) && !(flags & IFF_LOOPBACK);
}

bool Interface::hasLink() const
{
    return flags & IFF_RUNNING;
}

std::vector<Interface> listInterfaces()
{
    ifaddrs *pFirst = nullptr;
    if (getifaddrs(&pFirst) != 0)
        throw localNetwork("interfaces_unreadable",
                           std::string("cannot list this host's network interfaces: ") + strerror(errno),
                           "see whether 'ip -brief link' can");
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(pFirst, freeifaddrs);

    const std::set<unsigned> ports = portIndexes();
    std::vector<Interface> all;
    for (const ifaddrs *p = pFirst; p; p = p->ifa_next) {
        // A second IPv4 address may carry a label such as "eth0:1": the interface is what stands before the colon.
        const std::string name(p->ifa_name, strcspn(p->ifa_name, ":"));
        auto entry = findByName(all, name);
        if (entry == all.end()) {
            const unsigned index = if_nametoindex(name.c_str());
            if (!index) // gone meanwhile
                continue;
            entry = all.insert(all.end(), Interface{name, index, p->ifa_flags, {}, ports.contains(index)});
        }
        if (p->ifa_addr && p->ifa_addr->sa_family == AF_INET && p->ifa_netmask)
            entry->subnets.push_back(subnetOf(*p));
    }
    return all;
}

std::vector<Interface> chooseInterfaces(const std::vector<Interface> &all, const std::vector<std::string> &names)
{
    std::vector<Interface> chosen;
    for (const std::string &name : names)
        if (findByName(chosen, name) == chosen.end())
            chosen.push_back(chooseInterface(all, name));
    if (names.empty())
        std::copy_if(all.begin(), all.end(), std::back_inserter(chosen), isUsable);
    if (chosen.empty())
        throw localNetwork("no_interface", "no network interface of this host is up and can broadcast",
                           "bring one up with 'ip link set NAME up'; 'ip -brief link' lists them");
    return chosen;
}

std::string interfaceName(unsigned index)
{
    char name[IF_NAMESIZE];
    return if_indextoname(index, name) ? name : "if" + std::to_string(index);
}

} // namespace vxpctl
