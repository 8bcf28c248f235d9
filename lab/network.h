// SPDX-License-Identifier: Apache-2.0
//
// The management interface: what the store wants of it is applied, and what is in force is reported there.
#ifndef VXP_LAB_NETWORK_H
#define VXP_LAB_NETWORK_H

#include "lab/settings.h"

#include <optional>
#include <string>

namespace lab
{

// What is wanted of IPv4. Texts are dotted, and empty if there is no such thing.
struct IPv4 {
    std::string address;
    std::string mask;
    std::string gateway;

    bool operator==(const IPv4 &) const = default;
};

struct IPv6 {
    bool up = false;
    bool automatic = false; // address and gateway from router advertisements
    std::string address;    // these three only when not automatic
    std::string prefix;
    std::string gateway;

    bool operator==(const IPv6 &) const = default;
};

// The number of one-bits of a mask such as 255.255.255.0; nothing if it is none.
std::optional<int> prefixLength(const std::string &mask);

class Network
{
public:
    explicit Network(std::string interface) : m_interface(std::move(interface)) {}

    void powerUp();   // the cable's end comes up, without an address
    void powerDown(); // and goes down

    // Make the interface what the store says. Returns true when there is an IPv4 address.
    bool apply();
    void reportIPv6() const; // also to be called when the kernel tells of new addresses and routes

    std::string mac() const; // lower-case pairs with colons

private:
    void applyIPv4(const IPv4 &wanted);
    void applyIPv6(const IPv6 &wanted);
    void reportIPv4() const;

    std::string m_interface;
    IPv4 m_ipv4;                // in force
    std::optional<IPv6> m_ipv6; // applied; nothing after power-up
};

// Where the lease of the DHCP client is kept: object "dhcp-lease", fields "ip", "mask", "gateway", "dns-1", "dns-2".
Settings noLease();

} // namespace lab

#endif
