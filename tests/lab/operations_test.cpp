// SPDX-License-Identifier: Apache-2.0
//
// Every operation through client, wire, daemon, store and tool, and back; its success and what may fail.
#include "tests/support/lab.h"

#include <nlohmann/json.hpp>
#include <sys/stat.h>

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace
{

struct Outcome {
    int iExit;
    json envelope;
    std::string strErr;
};

constexpr const char *fleet = "Lobby AP-2600 4.1.0 192.168.0.50/24 gateway=192.168.0.1\n"
                              "Hall  AP-2600 4.1.0 10.77.3.9/16    gateway=10.77.0.1\n";
constexpr const char *files = "umask 077; echo lab >lab; echo kestrel >wrong; echo falcon8 >new; echo 'a\"b' >refused\n"
                              "printf 'readers\\nwriters\\n' >communities; printf '%033d\\n\\n' 0 >long\n"
                              "echo 'a key of 20 letters.' >key; echo lab >open; chmod 644 open";

class OperationsTest : public SharedLabTest
{
protected:
    static void SetUpTestSuite()
    {
        bringUp({"--boot-time", "4"}, fleet); // longer than an answer is awaited, and more
        if (s_lab) {
            ASSERT_EQ(s_lab->shell("cd " + s_lab->folder() + "\n" + files).iStatus, 0);
        }
    }

    // vxpctl as an administrator types it, in the folder of the files above.
    static Outcome run(const std::string &strArguments)
    {
        const Result result = s_lab->run(
            {"sh", "-c", "cd " + s_lab->folder() + " && VXPCTL_PASSWORD=lab exec vxpctl " + strArguments + " -o json"});
        return {result.iStatus, json::parse(result.strOut, nullptr, false), result.strErr};
    }
    static json at(const Outcome &outcome, const std::string &strPointer)
    {
        return outcome.envelope.value(json::json_pointer(strPointer), json());
    }
    static std::string stored(const std::string &strName) { return s_lab->get("Lobby", strName); }

    struct Row {
        const char *pArguments;
        int iExit;
        const char *pPointer; // into the envelope
        json value;
        const char *pStored = nullptr, *pValue = nullptr; // a field of Lobby's store afterwards
    };
    static void expect(const std::vector<Row> &rows)
    {
        for (const Row &row : rows) {
            const Outcome outcome = run(row.pArguments);
            EXPECT_EQ(outcome.iExit, row.iExit) << row.pArguments << outcome.envelope << outcome.strErr;
            EXPECT_EQ(at(outcome, row.pPointer), row.value) << row.pArguments << outcome.envelope;
            if (row.pStored) {
                EXPECT_EQ(stored(row.pStored), row.pValue) << row.pArguments;
            }
        }
    }
    // A device's manager that is stuck does not see the wish for a restart. It stands, and is taken back.
    static void expectWhileStuck(const std::string &strDevice, const Row &row)
    {
        ASSERT_EQ(s_lab->on(strDevice, "kill -STOP $(pgrep -x vxman)").iStatus, 0);
        expect({row});
        EXPECT_TRUE(s_lab->becomes(strDevice, "system reboot", "yes"));
        s_lab->set(strDevice, "system reboot", "");
        ASSERT_EQ(s_lab->on(strDevice, "kill -CONT $(pgrep -x vxman)").iStatus, 0);
    }
};

constexpr const char *result = "/devices/0/result", *error = "/errors/0/code";

TEST_F(OperationsTest, DoWhatTheySay)
{
    s_lab->set("Lobby", "management ipv6-status", "up");
    for (const char *pVap : {"wlan0", "wlan0vap1"}) {
        s_lab->set("Lobby", std::string("interface/") + pVap + " security", "wpa-personal");
        s_lab->set("Lobby", std::string("interface/") + pVap + " wpa-personal-key", std::string("key of ") + pVap);
    }
    expect({
        {"discover", 0, "/devices/1/name", "Lobby"},
        {"neighbors", 0, "/devices/1/mac", "02:00:00:00:00:01"},
        {"show Lobby", 0, "/devices/0/model", "AP-2600"},
        {"show 02-00-00-00-00-02", 0, "/devices/0/name", "Hall"},
        {"show ip:10.77.3.9 Lobby", 0, "/devices/0/version", "4.1.0"},
        {"status Hall", 0, "/devices/0/link_local", false},
        {"functions Lobby", 0, "/devices/0/functions/6/name", "commit settings"},
        {"password check --all", 0, "/devices/1/administrator", true},
        {"time get Lobby", 0, "/devices/0/time_zone", 0},
        {"time set Lobby --to 2001-02-03T04:05:06", 10, error, "not_verified"},
        {"ddns get Lobby", 0, "/devices/0/ddns", false},
        {"ddns set Lobby --domain ap.example", 10, error, "not_verified"},
        {"network set Lobby --dns 198.51.100.7 --yes", 0, result, "verified", "host static-dns-1", "198.51.100.7"},
        {"network set Lobby --ipv6 2001:db8::9/48 --yes", 0, result, "verified", "management static-ipv6",
         "2001:db8::9"},
        {"network get Lobby", 0, "/devices/0/dns/0", "198.51.100.7"},
        {"network set Hall --ip 192.168.0.52 --mask 255.255.255.0 --gateway 192.168.0.1 --yes", 0, "/devices/0/ip",
         "192.168.0.52"},
        {"wireless set Lobby --network 0 --key-file key", 0, result, "verified", "interface/wlan0 wpa-personal-key",
         "a key of 20 letters."},
        {"wireless set Lobby --network 2 --security open", 0, result, "accepted", "interface/wlan0vap2 security",
         "plain-text"},
        {"wireless get Lobby --show-keys", 0, "/devices/0/networks/1/key", "key of wlan0vap1"},
        {"vlan set Lobby --id 7 --yes", 0, result, "accepted"},
        {"snmp set Lobby --state on --communities-file communities", 0, result, "accepted", "snmp rw-community",
         "writers"},
        {"network set Lobby --name 'Front desk'", 0, result, "verified", "system system-name", "Front desk"},
        // What was not asked for is as it was.
        {"show 'Front desk'", 0, "/devices/0/gateway", "192.168.0.1", "interface/wlan0vap1 wpa-personal-key",
         "key of wlan0vap1"},
        {"password change 'Front desk' --new-password-file new", 0, result, "verified"},
        {"password check 'Front desk'", 5, error, "auth_failed"},
        {"password check 'Front desk' --password-file new", 0, result, "verified"},
        {"password check 'Front desk' --password-fd 3 3<new", 0, result, "verified"},
        {"save 'Front desk'", 5, error, "auth_failed"},
        {"save 'Front desk' --password-file new", 0, result, "accepted"},
        {"password change 'Front desk' --password-file new --new-password-file lab", 0, result, "verified"},
        {"network set 'Front desk' --name Lobby", 0, "/devices/0/name", "Lobby"},
        {"forget 02:00:00:00:00:01", 0, result, "forgotten"},
        {"forget 02:00:00:00:00:01", 3, error, "no_device"},
    });
}

TEST_F(OperationsTest, FailWithACodeAndAnExitStatus)
{
    s_lab->set("Hall", "config status", "saving");
    s_lab->set("Hall", "interface/wlan0 security", "wpa-personal");
    s_lab->set("Hall", "interface/wlan0 wpa-personal-key", std::string(64, 'k'));
    expect({
        {"show", 2, error, "usage"},
        {"show Lobby --all", 2, error, "usage"},
        {"show mac:Lobby", 2, error, "usage"},
        {"show nobody --timeout 0.5", 3, error, "no_device"},
        {"show Lobby nobody --timeout 1", 7, error, "no_device"},
        {"show Lobby -f serial,colour", 2, error, "unknown_field"},
        {"discover -i lo", 8, error, "interface_unusable"},
        {"status Lobby --password-file wrong", 5, error, "auth_failed"},
        {"status Lobby --password-file open", 2, error, "secret_unusable"},
        {"network set Lobby", 2, error, "usage"},
        {"network set Lobby --ip 192.168.77", 2, error, "usage"},
        {"network set Lobby --dhcp on --ip 192.168.77.11", 2, error, "usage"},
        {"network set Lobby --mask 255.0.255.0 --yes", 10, error, "not_verified"},
        {"network set Lobby --mask 255.255.255.0 --yes", 0, result, "verified"},
        {"password check --all --password-file wrong", 5, "/errors/1/device", "02:00:00:00:00:01"},
        {"password change Lobby --password-file wrong --new-password-file new", 5, error, "auth_failed"},
        {"password change Lobby --new-password-file refused", 2, error, "bad_password"},
        {"time set Lobby --to yesterday", 2, error, "usage"},
        {"ddns set Lobby", 2, error, "usage"},
        {"wireless set Lobby --network 8 --security open", 2, error, "usage"},
        {"wireless set Hall --network 1 --security open", 6, error, "key_too_long"},
        {"vlan set Lobby --id 7 </dev/null", 9, error, "not_confirmed"},
        {"vlan set Lobby --id 4095", 2, error, "usage"},
        {"snmp set Lobby --state on --communities-file long", 2, error, "too_long"},
        {"reboot Lobby </dev/null", 9, error, "not_confirmed"},
        {"reset Lobby </dev/null", 9, error, "not_confirmed"},
        {"reset Lobby --yes --password-file wrong", 5, error, "auth_failed"},
        {"reboot Lobby --dry-run --yes", 0, result, "not sent"},
        {"watch --timeout 0.1", 3, error, "no_device"},
        {"upgrade Lobby --file nothing --yes", 2, error, "unreadable"},
        {"backup Lobby --to /proc/backup", 1, error, "cannot_write"},
        {"backup Hall --to backup", 6, error, "busy"},
    });
    EXPECT_EQ(stored("system reboot") + stored("system factory-reset"), "");

    s_lab->set("Hall", "system system-name", "Lobby");
    expect({{"show Lobby", 2, error, "ambiguous_target"}});
    s_lab->set("Hall", "system system-name", "Hall");

    // The device hears all, and of its answers the short ones are lost.
    const Result deaf = s_lab->run({"nft", "add table netdev deaf; add chain netdev deaf in { type filter hook ingress "
                                           "device ap1 priority 0; }; add rule netdev deaf in udp length < 400 drop"});
    ASSERT_EQ(deaf.iStatus, 0) << deaf.strErr;
    expect({{"save --all --timeout 1", 7, error, "no_answer"},
            {"snmp set Lobby --state off --communities-file communities --timeout 1", 4, error, "no_answer"},
            {"network set Lobby --mask 255.0.255.0 --yes --timeout 1", 4, error, "no_answer"},
            {"network set Lobby --mask 255.255.255.0 --yes --timeout 1", 0, result, "verified"},
            {"reboot Lobby --yes --timeout 1", 0, result, "verified"}});
    expectWhileStuck("Lobby", {"reboot Lobby --yes --timeout 1 --wait 1", 4, error, "no_answer"});
    s_lab->run({"nft", "delete table netdev deaf"});
}

TEST_F(OperationsTest, ARebootKeepsWhatWasSavedAndAResetTheAddress)
{
    expect({
        {"network set Hall --name Saved", 0, result, "verified"},
        {"save Saved", 0, result, "accepted"},
        {"network set Saved --name Lost", 0, result, "verified"},
        {"reboot Lost --yes", 0, "/devices/0/name", "Saved"},
        {"network set Saved --ip 10.77.3.10 --mask 255.255.240.0 --gateway 10.77.0.2 --yes", 0, result, "verified"},
        {"reset Saved --keep-address --yes", 0, "/devices/0/ip", "10.77.3.10"},
        {"show Hall", 0, "/devices/0/mask", "255.255.240.0"},
        {"show Hall", 0, "/devices/0/gateway", "10.77.0.2"},
        {"reset Hall --yes", 0, "/devices/0/ip", "10.77.3.9"},
    });

    expectWhileStuck("Hall", {"reboot Hall --yes --wait 1", 10, error, "not_verified"});
    Program reboot = s_lab->start({"run", "vxpctl", "reboot", "Hall", "--yes", "--wait", "2", "-o", "json"});
    ASSERT_TRUE(eventually([&] { return s_lab->shell("vxplab ps | grep '^Hall *booting'").iStatus == 0; }));
    const std::string strMute = "add table ip mute; add chain ip mute out { type filter hook output priority 0; "
                                "policy drop; }"; // nothing can be sent meanwhile
    ASSERT_EQ(s_lab->run({"nft", strMute}).iStatus, 0);
    EXPECT_EQ(reboot.status(), 4);
    s_lab->run({"nft", "delete table ip mute"});
    EXPECT_EQ(json::parse(reboot.out())["errors"][0]["code"], "not_back");

    const std::string strOther = s_lab->daemon("Lobby");
    expect({{"reboot Lobby --yes --no-wait", 0, result, "accepted"}});
    EXPECT_TRUE(eventually([&] { return s_lab->daemon("Lobby") != strOther; }));
}

TEST_F(OperationsTest, SecretsAreShownNowhereAndADryRunSendsNothing)
{
    const std::pair<const char *, const char *> talks[] = {
        {"status Lobby --password-file wrong", "query network status"},
        {"wireless set Lobby --network 0 --security wpa2-personal --key-file key", "set wireless networks"},
        {"snmp set Lobby --state on --communities-file communities", "set SNMP"}};
    for (const auto &[pArguments, pOperation] : talks) {
        const Outcome outcome = run(std::string(pArguments) + " --trace --pcap talk.pcap");
        const std::string strTrace = outcome.strErr, strDecoded = run("decode talk.pcap").envelope.dump();
        EXPECT_THAT(strTrace, HasSubstr(pOperation));
        EXPECT_THAT(strDecoded, HasSubstr(pOperation));
        for (const char *pSecret : {"kestrel", "a2VzdHJlbA", "20 letters", "readers", "writers"})
            EXPECT_THAT(strTrace + strDecoded + outcome.envelope.dump() + readFile(s_lab->folder() + "/talk.pcap"),
                        Not(HasSubstr(pSecret)));
    }

    const Outcome outcome = run("network set Lobby --name Elsewhere --dry-run");
    EXPECT_EQ(outcome.iExit, 0);
    EXPECT_EQ(at(outcome, "/devices/0/request/body/name"), "Elsewhere");
    EXPECT_EQ(at(outcome, "/devices/0/request/body/gateway"), "192.168.0.1");
    EXPECT_THAT(at(outcome, "/devices/0/bytes").dump(), HasSubstr("a2 00 02 00 00 00 00 01 c0 a8 00 32 77 77"));
    EXPECT_EQ(stored("system system-name"), "Lobby");
}

} // namespace
