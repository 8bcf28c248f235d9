// SPDX-License-Identifier: Apache-2.0
//
// Faults of a network, each with what the doctor says of it; then the line that it tells to type is typed.
#include "network.h"

#include "client/firewall.h"
#include "client/record.h"

#include <atomic>

using vxpctl::Firewall;
using vxpctl::Record;

namespace
{

struct Step {
    std::string verdict, command; // the command of all but the last is run, and the next is what is found then
};

struct Device {
    std::string interface, name, ip;
    bool lossy = false; // loses every second round
};

struct Fault {
    const char *pName;
    std::vector<Device> devices;
    std::string behind, host;
    std::vector<Step> steps;
    std::vector<std::string> arguments{};
};

const std::string hall = "\x0A\x01\x02\x48", foreignHall = "\x0A\x03\x04\x48", yard = "\x0A\x01\x02\x59",
                  foreignYard = "\x0A\x03\x04\x59", ownAddress = "\x0A\x01\x02\x01";

const Step healthy{"healthy", ""}, foreign{"foreign_subnet", "ip address add 10.3.4.254/24 dev mgr1"};

const std::string drop = "nft 'table inet filter { chain other { drop; }; chain input { "
                         "type filter hook input priority 0; ct state established,related accept; jump other; }; }'",
                  dropOut = "nft 'table inet filter { chain output { type filter hook output priority 0; "
                            "udp dport 62976 drop; }; }'",
                  strict = "ip address add 10.9.9.1/24 dev mgr1; ip route add default via 10.1.2.254; "
                           "sysctl -qw net.ipv4.conf.mgr1.rp_filter=1";

void PrintTo(const Fault &fault, std::ostream *out)
{
    *out << fault.pName;
}

bool hasLink(const std::string &name)
{
    const auto all = vxpctl::listInterfaces();
    return std::any_of(all.begin(), all.end(), [&](const auto &one) { return one.name == name && one.hasLink(); });
}

struct DoctorTest : NetworkTest, testing::WithParamInterface<Fault> {
    void place(const Device &device)
    {
        respond(device.interface, [device, count = 0](const Frame &request) mutable {
            std::vector<Frame> frames{request[4] == 0xA1 ? discoverReply(request, device.name)
                                                         : neighborReply(request, device.name)};
            put(frames[0], request[4] == 0xA1 ? 268 : 199, device.ip);
            if (request[4] == 0xA1)
                put(frames[0], 276, std::string("\xFF\xFF\xFF\0", 4));
            if (device.lossy && count++ % 4 > 1)
                frames.clear();
            return frames;
        });
    }
    Record examine(std::vector<std::string> words)
    {
        for (const char *pWord : {"doctor", "--timeout", "0.4", "-o", "json"})
            words.push_back(pWord);
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
    if (fault.steps[0].verdict == "no_link") {
        ASSERT_TRUE(eventually([] { return !hasLink("mgr0") && !hasLink("mgr1"); })) << "the kernel takes its time";
    }
    for (const Device &device : fault.devices)
        place(device);
    std::vector<std::string> words = fault.arguments;
    words.push_back(VXPCTL);
    for (const Step &step : fault.steps) {
        const Record envelope = examine(words);
        const Record &conclusion = envelope["conclusion"];
        EXPECT_EQ(conclusion["verdict"], step.verdict) << envelope.dump(2);
        EXPECT_EQ(conclusion["command"], step.command.empty() ? Record() : Record(step.command));
        if (testing::Test::HasFailure() || &step == &fault.steps.back())
            return;
        shell(conclusion["command"].get<std::string>() + " >/dev/null");
        ASSERT_TRUE(eventually([] { return hasLink("mgr0"); }));
    }
}

const Fault faults[] = {
    {"NoFault", {{"ap0", "Hall", hall}}, "", "", {healthy}},
    {"TwoInterfaces",
     {{"ap0", "Hall", hall}, {"ap1", "Yard", foreignYard}},
     "",
     "ip address add 10.3.4.1/24 dev mgr1",
     {healthy}},
    {"TwoInterfacesInOneNetwork",
     {{"ap0", "Hall", hall}, {"ap1", "Yard", yard}},
     "ip address add 10.1.2.201/24 dev ap1",
     "ip address add 10.1.2.2/24 dev mgr1",
     {{"other_route", "ip route add 10.1.2.89/32 dev mgr1"}, healthy}},
    {"ForeignSubnet",
     {{"ap0", "Hall", foreignHall}},
     "",
     "",
     {{"foreign_subnet", "ip address add 10.3.4.254/24 dev mgr0"}, healthy}},
    {"NoDefaultRoute",
     {{"ap1", "Yard", foreignYard}},
     "",
     "sysctl -qw net.ipv4.conf.mgr1.rp_filter=2",
     {{"no_route", "ip route add 10.3.4.0/24 dev mgr1"}, foreign, healthy}},
    {"StrictReversePath",
     {{"ap1", "Yard", foreignYard}},
     "",
     strict,
     {{"rp_filter", "sysctl -w net.ipv4.conf.mgr1.rp_filter=2"}, foreign, healthy}},
    {"StrictReversePathUnseen",
     {{"ap1", "Yard", foreignYard}},
     "",
     strict,
     {{"rp_filter", "sysctl -w net.ipv4.conf.mgr1.rp_filter=2"}, foreign},
     {"setpriv", "--bounding-set", "-net_raw"}},
    {"NobodyAnswersUnseen",
     {},
     "",
     "",
     {{"no_answer", "sudo vxpctl doctor"}},
     {"setpriv", "--bounding-set", "-net_raw"}},
    {"StatefulFirewall",
     {{"ap0", "Hall", hall}},
     "",
     drop,
     {{"firewall", "nft insert rule inet filter input iifname mgr0 udp dport 62992 accept"}, healthy}},
    {"FirewallOut",
     {{"ap0", "Hall", hall}},
     "",
     dropOut,
     {{"firewall_out", "nft insert rule inet filter output oifname mgr0 udp dport 62976 accept"},
      {"firewall_out", "nft insert rule inet filter output oifname mgr1 udp dport 62976 accept"},
      healthy}},
    {"QueueThatDrops",
     {{"ap0", "Hall", hall}},
     "",
     "nft 'table netdev filter { chain egress { type filter hook egress device mgr0 priority 0; drop; }; }'",
     {{"not_sent", "tc -s qdisc show dev mgr0"}}},
    {"InterfaceDown",
     {{"ap0", "Hall", hall}},
     "",
     "ip link set mgr0 down; ip link set mgr1 down",
     {{"interface_down", "ip link set mgr0 up"}, healthy}},
    {"NoLink", {}, "ip link set ap0 down; ip link set ap1 down", "", {{"no_link", "ip -brief link show dev mgr0"}}},
    {"OwnAddress",
     {{"ap0", "Hall", ownAddress}},
     "",
     "",
     {{"address_conflict", "vxpctl network set 02:11:22:33:44:48 --ip 10.1.2.254"}}},
    {"Loss", {{"ap0", "Hall", hall, true}}, "", "", {{"loss", "vxpctl discover -i mgr0 --timeout 30"}}},
    {"NobodyAnswers", {}, "", "", {{"no_answer", "vxpctl watch"}}},
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
        const std::string table = pTable, target = pTarget;
        return Record::parse(R"({"nftables": [{"chain": {"family": "inet", "table": ")" + table +
                             R"(", "name": "in", "hook": "input", "policy": "accept"}},
            {"chain": {"family": "inet", "table": ")" +
                             table + R"(", "name": ")" + target + R"("}},
            {"rule": {"family": "inet", "table": ")" +
                             table +
                             R"(", "chain": "in", "expr": [{"vmap": {"data": {"set": [["lo", {"goto": {"target": ")" +
                             target + R"("}}]]}}}]}},
            {"rule": {"family": "inet", "table": ")" +
                             table + R"(", "chain": ")" + target + R"(", "expr": [{"reject": null}]}}]})");
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
