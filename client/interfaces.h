// SPDX-License-Identifier: Apache-2.0
//
// This host's network interfaces, and those of them on which devices can be looked for.
#ifndef VXP_CLIENT_INTERFACES_H
#define VXP_CLIENT_INTERFACES_H

#include "client/fields.h"

#include <set>
#include <string>
#include <vector>

namespace vxpctl
{

struct Subnet {
    IPv4_Address address{};
    unsigned length = 0; // of the prefix
    bool contains(const IPv4_Address &other) const;
    std::string addressText() const; // 10.1.2.3
    std::string text() const;        // 10.1.2.3/24
    std::string network() const;     // 10.1.2.0/24
};

struct Interface {
    std::string name;
    unsigned index = 0;
    unsigned flags = 0;            // IFF_..., netdevice(7)
    std::vector<Subnet> subnets{}; // may be empty: a host without an IPv4 address can still broadcast
    bool port = false;             // of a bridge or a bond, which sends and receives for it

    bool isUp() const;
    bool canBroadcast() const; // loopback and point-to-point interfaces cannot
    bool hasLink() const;
};

// Every interface, in the kernel's order. Throws Failure.
std::vector<Interface> listInterfaces();

// Those named, each once, in that order; without names, all that are up and can broadcast, ports apart. Throws Failure
// with the exit code for local network problems when one named cannot be used, or when there is none.
std::vector<Interface> chooseInterfaces(const std::vector<Interface> &all, const std::vector<std::string> &names);

// Indexes of the interfaces that are ports of a bridge, a bond or a team; empty when that cannot be learnt.
std::set<unsigned> portIndexes();

// The name of an interface index; "if7" when there is no such interface any more.
std::string interfaceName(unsigned index);

} // namespace vxpctl

#endif
