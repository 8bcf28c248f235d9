// SPDX-License-Identifier: Apache-2.0
//
// Faults of a network, each with what the doctor says of it; then the line that it tells to type is typed.
#include "network.h"

#include "client/firewall.h"
#include "client/record.h"

#include <regex>
#include <sstream>

using vxpctl::Firewall;
using vxpctl::Record;

namespace
{

struct Fault {
    const char *pName;
    std::string devices;      // in lines: interface, name and address; "lossy" if it loses every second round
    std::string behind, host; // what is done there
    std::string steps;        // in lines: verdict and command, which is run, and the next line is what is found then
    bool blind = false;       // without the right to see packets
};

const std::string hall = "ap0 Hall 10.1.2.72", foreignYard = "ap1 Yard 10.3.4.89",
                  foreignSubnet = "foreign_subnet ip address add 10.3.4.254/24 dev mgr1",
                  filtered = "rp_filter sysctl -w net.ipv4.conf.mgr1.rp_filter=2";

const std::string drop = "nft 'table inet filter { chain other { drop; }; chain input { "
                         "type filter hook input priority 0; ct state established,related accept; jump other; }; }'",
                  dropOut = "nft 'table inet filter { chain output { type filter hook output priority 0; "
                            "udp dport 62976 drop; }; }'",
                  dropBehind = "nft 'table netdev filter { chain egress { type filter hook egress device mgr0 "
                               "priority 0; drop; }; }'",
                  strict = "ip address add 10.9.9.1/24 dev mgr1; ip route add default via 10.1.2.254; "
                           "sysctl -qw net.ipv4.conf.mgr1.rp_filter=1";

void PrintTo(const Fault &fault, std::ostream *out)
{
    *out << fault.pName;
}

struct DoctorTest : NetworkTest, testing::WithParamInterface<Fault> {
    void place(const std::string &device)
    {
        std::string interface, name, ip, lossy;
        std::istringstream(device) >> interface >> name >> ip >> lossy;
        const in_addr_t address = inet_addr(ip.c_str());
        m_segments.push_back(respond(interface, [=, count = 0](const Frame &request) mutable {
            const bool discovers = request[4] == 0xA1;
            std::vector<Frame> frames{reply(request, name)};
            put(frames[0], discovers ? 268 : 199, {reinterpret_cast<const char *>(&address), sizeof address});
            if (discovers)
                put(frames[0], 276, std::string("\xFF\xFF\xFF\0", 4));
            if (!lossy.empty() && count++ % 4 > 1)
                frames.clear();
            return frames;
        }));
    }
    Record examine()
    {
        std::vector<std::string> words{VXPCTL, "doctor", "--timeout", "0.5", "--tries", "2", "-o", "json"};
        if (GetParam().blind)
            words.insert(words.begin(), {"setpriv", "--bounding-set", "-net_raw"});
        Program program([&] { return execute(words); });
        const int status = program.status();
        Record envelope = Record::parse(program.out(), nullptr, false);
        EXPECT_TRUE(envelope.is_object()) << program.out() << program.err();
        const std::string verdict = envelope["conclusion"]["verdict"];
        EXPECT_EQ(status, verdict == "healthy" ? 0 : verdict == "no_answer" ? 3 : 8) << verdict;
        EXPECT_EQ(envelope["errors"].size(), verdict == "healthy" ? 0U : 1U);
        return envelope;
    }
};

TEST_P(DoctorTest, TellsFaultAndCure)
{
    const Fault &fault = GetParam();
    if (fault.host.starts_with("nft") && system("PATH=$PATH:/usr/sbin nft list ruleset >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "no nft here";
    amongDevices([&] { shell(fault.behind); });
    shell(fault.host);
    if (fault.steps.starts_with("no_link")) {
        ASSERT_TRUE(eventually([] { return links() == 0; })) << "the kernel takes its time";
    }
    std::istringstream devices(fault.devices), steps(fault.steps);
    for (std::string device; std::getline(devices, device);)
        place(device);
    for (std::string step, command; std::getline(steps, step) && !HasFailure();) {
        if (!command.empty()) {
            shell(command + " >/dev/null");
            ASSERT_TRUE(eventually([] { return links() > 0; }));
        }
        const Record envelope = examine(), &conclusion = envelope["conclusion"];
        command = conclusion["command"].is_null() ? "" : conclusion["command"];
        EXPECT_EQ(conclusion["verdict"].get<std::string>() + (command.empty() ? "" : " ") + command, step)
            << envelope.dump(2);
    }
}

const Fault faults[] = {
    {"NoFault", hall, "", "", "healthy"},
    {"TwoInterfaces", hall + "\n" + foreignYard, "", "ip address add 10.3.4.1/24 dev mgr1", "healthy"},
    {"TwoInterfacesInOneNetwork", hall + "\nap1 Yard 10.1.2.89", "ip address add 10.1.2.201/24 dev ap1",
     "ip address add 10.1.2.2/24 dev mgr1", "other_route ip route add 10.1.2.89/32 dev mgr1\nhealthy"},
    {"ForeignSubnet", "ap0 Hall 10.3.4.72", "", "", "foreign_subnet ip address add 10.3.4.254/24 dev mgr0\nhealthy"},
    {"NoDefaultRoute", foreignYard, "", "sysctl -qw net.ipv4.conf.mgr1.rp_filter=2",
     "no_route ip route add 10.3.4.0/24 dev mgr1\n" + foreignSubnet + "\nhealthy"},
    {"StrictReversePath", foreignYard, "", strict, filtered + "\n" + foreignSubnet + "\nhealthy"},
    {"StrictReversePathUnseen", foreignYard, "", strict, filtered + "\n" + foreignSubnet, true},
    {"NobodyAnswersUnseen", "", "", "", "no_answer sudo vxpctl doctor", true},
    {"StatefulFirewall", hall, "", drop,
     "firewall nft insert rule inet filter input iifname mgr0 udp dport 62992 accept\nhealthy"},
    {"FirewallOut", hall, "", dropOut,
     "firewall_out nft insert rule inet filter output oifname mgr0 udp dport 62976 accept\n"
     "firewall_out nft insert rule inet filter output oifname mgr1 udp dport 62976 accept\nhealthy"},
    {"QueueThatDrops", hall, "", dropBehind, "not_sent tc -s qdisc show dev mgr0"},
    {"InterfaceDown", hall, "", "ip link set mgr0 down; ip link set mgr1 down",
     "interface_down ip link set mgr0 up\nhealthy"},
    {"NoLink", "", "ip link set ap0 down; ip link set ap1 down", "", "no_link ip -brief link show dev mgr0"},
    {"OwnAddress", "ap0 Hall 10.1.2.1", "", "",
     "address_conflict vxpctl network set 02:11:22:33:44:48 --ip 10.1.2.254"},
    {"Loss", hall + " lossy", "", "", "loss vxpctl discover -i mgr0 --timeout 30"},
    {"NobodyAnswers", "", "", "", "no_answer vxpctl watch"},
};

std::string nameOf(const testing::TestParamInfo<Fault> &fault)
{
    return fault.param.pName;
}

INSTANTIATE_TEST_SUITE_P(Faults, DoctorTest, testing::ValuesIn(faults), nameOf);

// What nft prints where other programs manage the rules.
TEST(Firewall, LineIsInTheWordsOfItsManager)
{
    const auto ruleset = [](const char *pTable, const char *pTarget) {
        const std::string text = R"({"nftables": [
            {"chain": {"family": "inet", "table": "TABLE", "name": "in", "hook": "input", "policy": "accept"}},
            {"chain": {"family": "inet", "table": "TABLE", "name": "TARGET"}},
            {"rule": {"family": "inet", "table": "TABLE", "chain": "in",
                      "expr": [{"vmap": {"data": {"set": [["lo", {"goto": {"target": "TARGET"}}]]}}}]}},
            {"rule": {"family": "inet", "table": "TABLE", "chain": "TARGET", "expr": [{"reject": null}]}}]})";
        return Record::parse(
            std::regex_replace(std::regex_replace(text, std::regex("TABLE"), pTable), std::regex("TARGET"), pTarget));
    };
    const struct {
        const char *pTable, *pTarget, *pLine;
    } cases[] = {
        {"filter", "rest", "nft insert rule inet filter in iifname eth0 udp dport 62992 accept"},
        {"filter", "ufw-user-input", "ufw allow in on eth0 to any port 62992 proto udp"},
        {"firewalld", "rest", "firewall-cmd --zone=$(firewall-cmd --get-zone-of-interface=eth0) --add-port=62992/udp"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Firewall(ruleset(c.pTable, c.pTarget)).allow(Firewall::Way::in, "eth0", 62992), c.pLine);
    EXPECT_FALSE(Firewall(Record::parse("nft: not found", nullptr, false)).readable());
}

} // namespace
