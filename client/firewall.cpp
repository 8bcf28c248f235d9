// SPDX-License-Identifier: Apache-2.0
#include "client/firewall.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string_view>

namespace vxpctl
{
namespace
{

std::string outputOf(const char *pCommand)
{
    const std::unique_ptr<FILE, decltype(&pclose)> pipe(popen(pCommand, "re"), pclose);
    std::string text;
    char part[4096];
    while (pipe) {
        const std::size_t size = fread(part, 1, sizeof part, pipe.get());
        if (!size)
            break;
        text.append(part, size);
    }
    return text;
}

// "inet filter ", before the name of a chain.
std::string tableOf(const Record &item)
{
    return item.value("family", "") + " " + item.value("table", "") + " ";
}

// What the rules of a chain may lead to.
struct Chain {
    bool drops = false;
    std::set<std::string> targets{}; // of jump and goto
};

// Verdicts stand at any depth: in the rule, or in the map that it looks up.
void gather(const Record &part, const std::string &table, Chain &chain)
{
    for (const auto &item : part.items()) {
        const std::string &name = part.is_object() ? item.key() : "";
        if (name == "drop" || name == "reject" || name == "queue")
            chain.drops = true;
        else if ((name == "jump" || name == "goto") && item.value().is_object())
            chain.targets.insert(table + item.value().value("target", ""));
        else if (item.value().is_structured())
            gather(item.value(), table, chain);
    }
}

bool mayDrop(const std::map<std::string, Chain> &chains, const std::string &name, std::set<std::string> &visited)
{
    const auto found = chains.find(name);
    if (found == chains.end() || !visited.insert(name).second)
        return false;
    return found->second.drops ||
           std::any_of(found->second.targets.begin(), found->second.targets.end(),
                       [&](const std::string &target) { return mayDrop(chains, target, visited); });
}

} // namespace

Firewall Firewall::ofThisHost()
{
    const std::string text = outputOf("PATH=$PATH:/usr/sbin:/sbin nft -j list ruleset 2>&-");
    Firewall firewall(Record::parse(text, nullptr, false));
    std::string table;
    firewall.m_iptables = bool(std::ifstream("/proc/net/ip_tables_names") >> table);
    return firewall;
}

Firewall::Firewall(const Record &ruleset) : m_readable(ruleset.is_object() && ruleset.contains("nftables"))
{
    if (!m_readable)
        return;
    std::map<std::string, Chain> chains;
    for (const Record &item : ruleset["nftables"])
        if (const auto rule = item.find("rule"); rule != item.end())
            gather(rule->value("expr", Record()), tableOf(*rule), chains[tableOf(*rule) + rule->value("chain", "")]);
    for (const Record &item : ruleset["nftables"]) {
        const auto chain = item.find("chain");
        if (chain == item.end())
            continue;
        const std::string name = tableOf(*chain) + chain->value("name", ""), family = chain->value("family", ""),
                          hook = chain->value("hook", "");
        m_firewalld |= chain->value("table", "") == "firewalld";
        m_ufw |= chain->value("name", "") == "ufw-user-input";
        std::set<std::string> visited;
        if ((family != "inet" && family != "ip") ||
            (chain->value("policy", "") != "drop" && !mayDrop(chains, name, visited)))
            continue;
        if (hook == "prerouting" || hook == "input")
            m_in.push_back(name);
        else if (hook == "output" || hook == "postrouting")
            m_out.push_back(name);
    }
}

std::string Firewall::allow(Way way, const std::string &interface, unsigned port) const
{
    const bool in = way == Way::in;
    const std::string number = std::to_string(port);
    if (m_firewalld && in)
        return "firewall-cmd --zone=$(firewall-cmd --get-zone-of-interface=" + interface + ") --add-port=" + number +
               "/udp";
    if (m_ufw)
        return std::string("ufw allow ") + (in ? "in" : "out") + " on " + interface + " to any port " + number +
               " proto udp";
    std::string line;
    for (const std::string &chain : dropping(way))
        line += (line.empty() ? "" : " && ") + ("nft insert rule " + chain) + (in ? " iifname " : " oifname ") +
                interface + " udp dport " + number + " accept";
    if (!line.empty())
        return line;
    if (m_iptables)
        return std::string("iptables -I ") + (in ? "INPUT -i " : "OUTPUT -o ") + interface + " -p udp --dport " +
               number + " -j ACCEPT";
    return "nft list ruleset";
}

} // namespace vxpctl
