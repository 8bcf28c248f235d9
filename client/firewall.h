// SPDX-License-Identifier: Apache-2.0
//
// What this host's packet filter may do to datagrams.
#ifndef VXP_CLIENT_FIREWALL_H
#define VXP_CLIENT_FIREWALL_H

#include "client/record.h"

#include <string>
#include <vector>

namespace vxpctl
{

class Firewall
{
public:
    enum class Way { in, out };

    static Firewall ofThisHost();                  // asks nft(8), which needs root
    explicit Firewall(const Record &ruleset = {}); // as "nft -j list ruleset" prints it; null: could not be read

    bool readable() const { return m_readable; }
    // "inet filter input" for each chain through which datagrams go and that may drop some.
    const std::vector<std::string> &dropping(Way way) const { return way == Way::in ? m_in : m_out; }

    // The line to type that lets datagrams to a UDP port pass, in the words of the program that manages the firewall.
    std::string allow(Way way, const std::string &interface, unsigned port) const;

private:
    bool m_readable;
    bool m_firewalld = false, m_ufw = false, m_iptables = false;
    std::vector<std::string> m_in{}, m_out{};
};

} // namespace vxpctl

#endif
