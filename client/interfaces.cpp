// SPDX-License-Identifier: Apache-2.0
#include "client/interfaces.h"

#include "client/failure.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>

namespace vxpctl
{
namespace
{

Failure localNetwork(const char *code, std::string message, std::string hint)
{
    return Failure(ExitCode::localNetwork, {code, std::move(message), std::move(hint)});
}

auto findByName(auto &interfaces, std::string_view name)
{
    return std::find_if(interfaces.begin(), interfaces.end(), [name](const Interface &i) { return i.name == name; });
}

bool isUsable(const Interface &interface)
{
    return interface.isUp() && interface.canBroadcast();
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

} // namespace

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

    std::vector<Interface> all;
    for (const ifaddrs *p = pFirst; p; p = p->ifa_next) {
        // A second IPv4 address may carry a label such as "eth0:1": the interface is what stands before the colon.
        const std::string name(p->ifa_name, strcspn(p->ifa_name, ":"));
        auto entry = findByName(all, name);
        if (entry == all.end()) {
            const unsigned index = if_nametoindex(name.c_str());
            if (!index) // gone meanwhile
                continue;
            entry = all.insert(all.end(), Interface{name, index, p->ifa_flags});
        }
        if (p->ifa_addr && p->ifa_addr->sa_family == AF_INET && entry->ipv4.empty()) {
            sockaddr_in address;
            std::memcpy(&address, p->ifa_addr, sizeof address);
            char text[INET_ADDRSTRLEN];
            entry->ipv4 = inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
        }
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
