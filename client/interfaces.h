// SPDX-License-Identifier: Apache-2.0
//
// This host's network interfaces, and those of them on which devices can be looked for.
#ifndef VXP_CLIENT_INTERFACES_H
#define VXP_CLIENT_INTERFACES_H

#include <string>
#include <vector>

namespace vxpctl
{

struct Interface {
    std::string name;
    unsigned index = 0;
    unsigned flags = 0; // IFF_..., netdevice(7)
    std::string ipv4{}; // first IPv4 address; may be empty: a host without one can still broadcast

    bool isUp() const;
    bool canBroadcast() const; // loopback and point-to-point interfaces cannot
    bool hasLink() const;
};

// Every interface, in the kernel's order. Throws Failure.
std::vector<Interface> listInterfaces();

// Those named, each once, in that order; without names, all that are up and can broadcast. Throws Failure with the
// exit code for local network problems when one named cannot be used, or when there is none.
std::vector<Interface> chooseInterfaces(const std::vector<Interface> &all, const std::vector<std::string> &names);

// The name of an interface index; "if7" when there is no such interface any more.
std::string interfaceName(unsigned index);

} // namespace vxpctl

#endif
