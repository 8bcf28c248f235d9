// SPDX-License-Identifier: Apache-2.0
//
// vxpctl as it ships against the daemon that ships: command, wire, daemon, store and tool, and back.
#include "tests/blackbox/driver.h"

#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <thread>

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace
{

struct Outcome {
    int iExit = -1;
    json envelope;
    std::string strErr;
    json device() const { return envelope["devices"].empty() ? json() : envelope["devices"][0]; }
    std::string error() const { return envelope["errors"].empty() ? "" : envelope["errors"][0]["code"]; }
};

// Every envelope that a test sees is held against the schema that is installed; empty when it fits.
std::string schemaErrors(const std::string &strEnvelope)
{
    writeFile("/dev/shm/envelope", strEnvelope);
    const Result result = command("python3 -c \"import json, jsonschema, sys; jsonschema.validate("
                                  "json.load(open('/dev/shm/envelope')), json.load(open(sys.argv[1])))\" " +
                                  shell(VXP_SOURCE_DIR "/client/vxpctl.schema.json"));
    return result.iStatus ? result.strErr : "";
}

void secretFile(const std::string &strPath, const std::string &strContent)
{
    writeFile(strPath, strContent);
    ASSERT_EQ(chmod(strPath.c_str(), 0600), 0);
}

Outcome run(const std::string &strArguments)
{
    const Result result = command(std::string("XDG_CACHE_HOME=/dev/shm VXPCTL_PASSWORD=kestrel-9 ") + VXPCTL + " " +
                                  strArguments + " -o json --timeout 1 </dev/null");
    EXPECT_EQ(schemaErrors(result.strOut), "") << strArguments;
    return {result.iStatus, json::parse(result.strOut, nullptr, false), result.strErr};
}

class Administer : public Blackbox
{
protected:
    // The device's "submit" takes the new password as the real one does: hashed, into the store.
    Administer()
    {
        Device device;
        device.strBefore =
            "printf '#!/bin/sh\\necho \"$@\" >>/tmp/submit\\n"
            "[ \"$1\" != SET_PASSWD ] || lsqlctl set system encrypted-password \"$(openssl passwd -1 \"$3\")\"\\n'"
            " >/usr/sbin/submit; chmod +x /usr/sbin/submit";
        m_pDevice = &start(device);
        secretFile("/dev/shm/new", "falcon8\n");
        secretFile("/dev/shm/communities", "readers\nwriters\n");
        secretFile("/dev/shm/key", "a key of 20 letters.\n");
    }
    AccessPoint *m_pDevice;
};

TEST_F(Administer, EveryOperationThroughToTheStore)
{
    m_pDevice->store({{"interface/wlan0 security", "wpa-personal"},
                      {"interface/wlan0 wpa-personal-key", "old key 0"},
                      {"interface/wlan0vap1 security", "wpa-personal"},
                      {"interface/wlan0vap1 wpa-personal-key", "key of network 1"}});
    const struct {
        const char *strArguments;
        int iExit;
        const char *strField; // of the record
        json value;
        const char *strStored; // field of the store, or null
        const char *strValue;
    } cases[] = {
        {"show lobby", 0, "model", "KW-2210", nullptr, nullptr},
        {"show 02-4B-65-73-74-01", 0, "name", "lobby", nullptr, nullptr},
        {"show ip:192.168.77.10", 0, "version", "4.2.0.9", nullptr, nullptr},
        {"show --all", 0, "mac", "02:4b:65:73:74:01", nullptr, nullptr},
        {"status lobby", 0, "link_local", false, nullptr, nullptr},
        {"network get lobby", 0, "dns", {"192.0.2.1", "192.0.2.2"}, nullptr, nullptr},
        {"password check lobby", 0, "administrator", true, nullptr, nullptr},
        {"time get lobby", 0, "time_zone", 0, nullptr, nullptr},
        {"ddns get lobby", 0, "ddns", false, nullptr, nullptr},
        {"network set lobby --dns 198.51.100.7 --yes", 0, "result", "verified", "host static-dns-1", "198.51.100.7"},
        {"network set lobby --ipv6 2001:db8::9/48 --yes", 0, "ipv6_prefix", 48, "management static-ipv6",
         "2001:db8::9"},
        // What was not given is as it was.
        {"show lobby", 0, "gateway", "192.168.77.254", "management dhcp-status", "down"},
        {"time set lobby --to 2001-02-03T04:05:06", 10, "result", "unverified", nullptr, nullptr},
        {"ddns set lobby --domain ap.example", 10, "result", "unverified", nullptr, nullptr},
        {"wireless set lobby --network 0 --key-file /dev/shm/key", 0, "result", "verified",
         "interface/wlan0 wpa-personal-key", "a key of 20 letters."},
        {"wireless set lobby --network 2 --security open", 0, "result", "accepted", "interface/wlan0vap2 security",
         "plain-text"},
        {"show lobby", 0, "name", "lobby", "interface/wlan0vap1 wpa-personal-key", "key of network 1"},
        {"vlan set lobby --id 7 --yes", 0, "result", "accepted", nullptr, nullptr},
        {"snmp set lobby --state on --communities-file /dev/shm/communities", 0, "result", "accepted",
         "snmp rw-community", "writers"},
        {"save lobby", 0, "result", "accepted", "config startup", "running"},
        {"password change lobby --new-password-file /dev/shm/new", 0, "result", "verified", nullptr, nullptr},
        {"password check lobby --password-file /dev/shm/new", 0, "result", "verified", nullptr, nullptr},
        {"network set lobby --name 'Front desk' --password-file /dev/shm/new", 0, "result", "verified",
         "system system-name", "Front desk"},
        {"reboot 'Front desk' --yes --no-wait", 0, "result", "accepted", "system reboot", "yes"},
        {"reset 'Front desk' --keep-address --yes --no-wait --password-file /dev/shm/new", 0, "result", "accepted",
         "system factory-reset", "yes"},
    };
    for (const auto &c : cases) {
        const Outcome outcome = run(c.strArguments);
        EXPECT_EQ(outcome.iExit, c.iExit) << c.strArguments << outcome.envelope["errors"];
        EXPECT_EQ(outcome.device()[c.strField], c.value) << c.strArguments;
        if (c.strStored) {
            EXPECT_EQ(m_pDevice->stored(c.strStored), c.strValue) << c.strArguments;
        }
    }
    EXPECT_THAT(readFile(m_pDevice->folder() + "/tmp/submit"), HasSubstr("SET_IPADDRESS\nCOMMIT\n"));
}

TEST_F(Administer, FailuresHaveACodeAndAnExitStatus)
{
    writeFile("/dev/shm/open", "kestrel-9\n");
    ASSERT_EQ(chmod("/dev/shm/open", 0644), 0);
    const struct {
        const char *strArguments;
        int iExit;
        const char *strError;
    } cases[] = {
        {"show nobody", 3, "no_device"},
        {"show lobby nobody", 7, "no_device"},
        {"show", 2, "usage"},
        {"show lobby --all", 2, "usage"},
        {"show mac:lobby", 2, "usage"},
        {"show lobby -f serial,colour", 2, "unknown_field"},
        {"status lobby --password-file /dev/shm/new", 5, "auth_failed"},
        {"status lobby --password-file /dev/shm/open", 2, "secret_unusable"},
        {"vlan set lobby --id 7", 9, "not_confirmed"},
        {"reboot lobby --yes --wait 1", 10, "not_verified"},
        {"network set lobby --ip 192.168.77.11 --yes", 10, "not_verified"},
        {"network set lobby", 2, "usage"},
        {"network set lobby --ip 192.168.77", 2, "usage"},
        {"network set lobby --dhcp on --ip 192.168.77.11", 2, "usage"},
        {"wireless set lobby --network 8 --security open", 2, "usage"},
        {"vlan set lobby --id 4095", 2, "usage"},
    };
    for (const auto &c : cases) {
        const Outcome outcome = run(c.strArguments);
        EXPECT_EQ(outcome.iExit, c.iExit) << c.strArguments;
        EXPECT_EQ(outcome.error(), c.strError) << c.strArguments;
    }
}

TEST_F(Administer, RebootEndsWhenTheDeviceIsBack)
{
    const pid_t daemon = m_pDevice->daemon();
    // The daemon is away for two seconds from when the store says so.
    std::thread manager([&] {
        if (!eventually([&] { return m_pDevice->stored("system reboot") == "yes"; }))
            return;
        kill(daemon, SIGSTOP);
        std::this_thread::sleep_for(2s);
        kill(daemon, SIGCONT);
    });
    const Outcome outcome = run("reboot lobby --yes --wait 20");
    manager.join();
    EXPECT_EQ(outcome.iExit, 0);
    EXPECT_EQ(outcome.device()["result"], "verified");
    EXPECT_GT(outcome.device()["seconds"], 1.9);
    EXPECT_EQ(run("reboot nobody --yes").iExit, 3);
}

TEST_F(Administer, NothingIsChangedWithoutConsent)
{
    EXPECT_EQ(run("reboot lobby").iExit, 9);
    EXPECT_EQ(run("reset lobby").iExit, 9);
    EXPECT_EQ(run("reboot lobby --dry-run --yes").iExit, 0);
    EXPECT_EQ(m_pDevice->stored("system reboot"), "(nothing)");
    EXPECT_EQ(m_pDevice->stored("system factory-reset"), "(nothing)");
}

TEST_F(Administer, SecretsAreShownNowhere)
{
    const char *const strSet = "wireless set lobby --network 0 --security wpa2-personal --key-file /dev/shm/key ";
    const Outcome traced = run(std::string(strSet) + "--trace");
    EXPECT_EQ(traced.iExit, 0);
    EXPECT_THAT(traced.strErr, HasSubstr("set wireless networks"));
    const Outcome snmp = run("snmp set lobby --state on --communities-file /dev/shm/communities --trace");
    for (const char *strSecret : {"kestrel", "a2VzdHJlbC05", "20 letters", "readers", "writers"})
        EXPECT_THAT(traced.strErr + snmp.strErr, Not(HasSubstr(strSecret)));
}

TEST_F(Administer, DryRunShowsTheRequestAndSendsNothing)
{
    const Outcome outcome = run("network set lobby --name Elsewhere --dry-run");
    EXPECT_EQ(outcome.iExit, 0);
    EXPECT_EQ(outcome.device()["request"]["body"]["name"], "Elsewhere");
    EXPECT_EQ(outcome.device()["request"]["body"]["gateway"], "192.168.77.254");
    EXPECT_THAT(outcome.device()["bytes"].dump(), HasSubstr("a2 00 02 4b 65 73 74 01 c0 a8 4d 0a 77 77"));
    EXPECT_EQ(m_pDevice->stored("system system-name"), "lobby");
}

} // namespace
