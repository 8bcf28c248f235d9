// SPDX-License-Identifier: Apache-2.0
//
// upgrade, backup and restore: vxpctl, wire, daemon, the device's tools, real servers, and back.
#include "tests/support/lab.h"

#include <nlohmann/json.hpp>

using nlohmann::json;
using testing::HasSubstr;

namespace
{

constexpr const char *FLEET = "ap1 AP-2600 4.1.0 192.168.0.51/24\n"
                              "ap2 AP-2600 4.1.0 192.168.0.52/24\n"
                              "ap3 AP-2600 4.1.0 192.168.0.53/24\n"
                              "Far AP-2600 4.1.0 10.77.3.9/16\n"; // no way leads there
constexpr const char *FILES = "mkdir out full\n"
                              "vxpimage --model AP-2600 --version 4.2.0 -o image\n"
                              "vxpimage --model AP-2600 --version 4.3.0 --size 8000000 -o large\n"
                              "vxpimage --model AP-1 --version 4.2.0 -o foreign\n"
                              "head -c 60000 image >broken\n"
                              "echo whatever >strange\n"
                              "printf '# vxp configuration 1\\nsystem system-name \"x\"\\n' >cut\n"
                              // An HTTP server that ends in the middle of the file.
                              "cat >dying <<'END'\n#!/bin/sh\n"
                              "read -r method _\n"
                              "printf 'HTTP/1.0 200 OK\\r\\nContent-Length: %d\\r\\n\\r\\n' $(wc -c <image)\n"
                              "[ $method = HEAD ] || head -c 30000 image\n"
                              "END\n"
                              // A TFTP server that tells what it was given: its environment and what is open.
                              "cat >telling <<'END'\n#!/bin/sh\n"
                              "tr '\\0' ' ' </proc/$$/environ >given\n"
                              "ls /proc/$$/fd | grep -x '[09]' >>given\n"
                              "exec ./in.tftpd \"$@\"\n"
                              "END\n"
                              "cp /usr/sbin/in.tftpd .\n"
                              "chmod +x dying telling";

// A command that must not do what it is asked for, and how it tells.
struct Refusal {
    const char *strLine; // of shell, with "-o json" to come
    int iStatus;
    const char *strCode;
    const char *strMessage; // a part of it
};

class TransfersTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (const std::string strMissing = Lab::missing(); !strMissing.empty())
            GTEST_SKIP() << strMissing;
        const Result up = lab.up({}, FLEET);
        ASSERT_EQ(up.iStatus, 0) << up.strErr;
        if (lab.run({"grep", "-q", "allow", "/proc/self/setgroups"}).iStatus != 0)
            GTEST_SKIP() << "TFTP servers change their user, which this lab does not allow";
        ASSERT_EQ(lab.shell("cd " + lab.folder() + "\n" + FILES).iStatus, 0);
    }
    // Whatever comes of a transfer: no server of vxpctl's, no file of its own, none that is not whole.
    void TearDown() override
    {
        std::string strLeft; // by a server that has just been told to end, perhaps
        eventually([&] {
            strLeft = sh("pgrep -a in.tftpd; ls -d /dev/shm/vxpctl-*; find . -name '*.conf.*'").strOut;
            return strLeft.empty();
        });
        EXPECT_EQ(strLeft, "");
    }
    Result sh(const std::string &strLine) const { return lab.run({"sh", "-c", "cd " + lab.folder() + "\n" + strLine}); }
    // What RULE says befalls the manager's packets, until the table t is deleted.
    void filter(const std::string &strHook, const std::string &strRule) const
    {
        const Result filtered =
            sh("nft 'table inet t { chain c { type filter hook " + strHook + " priority 0; " + strRule + "; }; }'");
        ASSERT_EQ(filtered.iStatus, 0) << filtered.strErr;
    }
    // A device that has refused a file refuses every other until somebody clears this.
    void forget(const std::string &strDevice) const
    {
        lab.on(strDevice, "lsqlctl set firmware-upgrade progress ''; lsqlctl set config status ''");
    }
    static json parsed(const Result &result)
    {
        json parsed = json::parse(result.strOut, nullptr, false);
        EXPECT_TRUE(parsed.is_object()) << result.strOut << result.strErr;
        return parsed;
    }
    void expectRefusal(const Refusal &refusal) const
    {
        SCOPED_TRACE(refusal.strLine);
        const Result result = sh(std::string(refusal.strLine) + " -o json");
        EXPECT_EQ(result.iStatus, refusal.iStatus) << result.strErr;
        const json answer = parsed(result);
        ASSERT_EQ(answer["errors"].size(), 1U) << result.strOut;
        EXPECT_EQ(answer["errors"][0]["code"], refusal.strCode);
        EXPECT_THAT(answer["errors"][0]["message"].get<std::string>(), HasSubstr(refusal.strMessage));
        EXPECT_NE(answer["errors"][0]["hint"], "");
        forget("ap1");
    }
    void expectRefusals(std::initializer_list<Refusal> refusals) const
    {
        for (const Refusal &refusal : refusals)
            expectRefusal(refusal);
        EXPECT_EQ(sh("ls out").strOut, "");
    }

    const Lab lab{};
};

TEST_F(TransfersTest, UpgradesAllThatCanBeReached)
{
    const Result result = sh("vxpctl upgrade --all --file image --yes -o json");
    EXPECT_EQ(result.iStatus, 7) << result.strErr;
    const json answer = parsed(result);
    ASSERT_EQ(answer["devices"].size(), 3U) << result.strOut;
    for (const json &device : answer["devices"]) {
        EXPECT_EQ(device["result"], "verified");
        EXPECT_EQ(device["previous_version"], "4.1.0");
        EXPECT_EQ(device["version"], "4.2.0");
        EXPECT_GT(device["seconds"], 1.0);
        EXPECT_EQ(lab.get(device["name"], "system version"), "4.2.0");
    }
    ASSERT_EQ(answer["errors"].size(), 1U);
    EXPECT_EQ(answer["errors"][0]["code"], "unreachable");
    EXPECT_EQ(lab.get("Far", "system version"), "4.1.0");

    // Each phase is told once, and the last version wins.
    const Result other = sh("vxpctl upgrade ap1 --file large --protocol tftp --yes");
    EXPECT_EQ(other.iStatus, 0);
    EXPECT_THAT(other.strErr, testing::ContainsRegex("ap1: fetching\n(ap1: [a-z]+\n)*ap1: restarting\n"
                                                     "ap1 .*: came back after [0-9]+ s with 4.3.0, was 4.2.0"));
}

TEST_F(TransfersTest, UsesAServerThatIsThere)
{
    Program server = lab.start({"serve", lab.folder()});
    ASSERT_TRUE(eventually([&] { return server.out().find("Serving") != std::string::npos; })) << server.err();
    expectRefusals({
        {"vxpctl upgrade ap1 --file image --yes", 8, "port_in_use", "TCP port 80 is taken"},
        {"vxpctl backup ap1 --to out", 8, "port_in_use", "UDP port 69 is taken"},
        {"vxpctl upgrade ap1 --server 192.168.0.1 --name none --yes", 1, "no_file", "no file"},
        {"vxpctl restore ap1 --server 192.168.0.1 --name none --protocol tftp --yes", 1, "no_file",
         "no file tftp://192.168.0.1/none"},
        {"vxpctl backup ap1 --server 192.168.0.1 --name image", 1, "file_exists", "already"},
        {"vxpctl backup ap1 --server 192.168.0.1 --name saved", 10, "not_checked", "whatever becomes of it"},
    });
    lab.set("ap1", "system system-name", "changed");
    const Result restored = sh("vxpctl restore changed --server 192.168.0.1 --name saved --no-verify --yes");
    EXPECT_EQ(restored.iStatus, 10) << restored.strErr;
    EXPECT_TRUE(lab.becomes("ap1", "system system-name", "ap1"));
    // All in which the device tells what it is doing, '"..." is under processing', is lost: its version has to do.
    filter("input", "udp dport 62992 @th,256,8 0x22 counter drop");
    for (const std::string strVia : {"--name image", "--name large --protocol tftp"}) {
        const Result upgraded = sh("vxpctl upgrade ap2 --yes --server 192.168.0.1 " + strVia);
        EXPECT_EQ(upgraded.iStatus, 0) << upgraded.strErr;
    }
    EXPECT_EQ(lab.get("ap2", "system version"), "4.3.0");
    EXPECT_THAT(sh("nft list table inet t").strOut, testing::ContainsRegex("packets [1-9]")) << "nothing was lost";
    server.signal(SIGTERM);
    EXPECT_NE(server.status(), -1);
}

TEST_F(TransfersTest, BringsBackWhatItSaved)
{
    const Result saved = sh("vxpctl backup ap1 ap2 --to out -o value -f result && stat -c %a out/*");
    EXPECT_EQ(saved.strOut, "verified\nverified\n600\n600\n") << saved.strErr;
    // Nobody reads what it prints; the file comes all the same.
    const Result unread = sh("mkfifo pipe; exec 3<>pipe 4>pipe 3>&-; vxpctl backup ap1 --to full -o jsonl >&4; "
                             "echo $?; ls full | wc -l; rm full/*");
    EXPECT_EQ(unread.strOut, "1\n1\n") << unread.strErr;
    const Result served = sh("unshare -m sh -c 'mount --bind telling /usr/sbin/in.tftpd; exec \"$@\"' - "
                             "env VXPCTL_PASSWORD=lab vxpctl backup ap1 --to full 9<large >&2; cat given; rm full/*");
    EXPECT_EQ(served.strOut, "0\n") << served.strErr; // its socket
    for (const std::string strProtocol : {"http", "tftp"}) {
        lab.set("ap1", "system system-name", "changed");
        lab.set("ap1", "radio/wlan0 status", "down");
        const Result restored = sh("vxpctl restore changed --file out/ap1-* --yes -o json --protocol " + strProtocol);
        EXPECT_EQ(restored.iStatus, 0) << restored.strOut;
        EXPECT_EQ(parsed(restored)["devices"][0]["result"], "verified");
        EXPECT_EQ(parsed(restored)["devices"][0]["name"], "ap1");
        EXPECT_EQ(lab.get("ap1", "radio/wlan0 status"), "up");
    }
    lab.set("ap1", "system system-name", "../a b"); // a name that is no file's
    EXPECT_THAT(sh("vxpctl backup 192.168.0.51 --to out -o value -f file").strOut,
                testing::StartsWith("out/device.._a_b-020000000001-"));
    lab.set("ap1", "system system-name", "ap1");
    const Result again = sh("vxpctl backup ap1 --to again && cmp again out/ap1-* >&2; vxpctl backup ap1 --to again");
    EXPECT_EQ(again.iStatus, 1) << "a file was overwritten";
    EXPECT_THAT(again.strErr, HasSubstr("again is there already")) << again.strOut;
}

TEST_F(TransfersTest, TellsWhyNot)
{
    lab.vxplab({"stop", "ap2"});
    ASSERT_EQ(sh("mount -t tmpfs -o size=16k none full && ! head -c 20000 /dev/zero >full/fill").iStatus, 0);
    expectRefusals({
        {"VXPCTL_PASSWORD=wrong vxpctl save ap1", 5, "auth_failed", "password is refused"},
        {"vxpctl upgrade ap2 --file image --yes --timeout 1", 3, "no_device", "no device answered"},
        {"vxpctl backup Far --to out", 8, "unreachable", "has no way to this host"},
        {"vxpctl upgrade ap1 --server 192.168.0.9 --name x --yes", 8, "no_server", "192.168.0.9"},
        {"vxpctl backup ap1 --server 192.168.0.9 --name x", 8, "no_server", "no TFTP server"},
        {"vxpctl upgrade ap1 --file foreign --yes", 6, "device_error", "keeps version 4.1.0"},
        {"vxpctl upgrade ap1 --file broken --protocol tftp --yes", 6, "device_error", "'Validation failed'"},
        {"vxpctl restore ap1 --file cut --yes", 2, "backup_broken", "nothing was sent"},
        {"vxpctl restore ap1 --file strange --yes", 6, "device_error", "refuses the file"},
        {"vxpctl backup ap1 --to full", 1, "disk_full", "nothing is left of it"},
        {"TMPDIR=full vxpctl backup ap1 --to out", 1, "disk_full", "no room for the backup"},
        {"setpriv --bounding-set -net_bind_service vxpctl upgrade ap1 --file image --yes", 8, "permission",
         "not permitted to listen on TCP port 80"},
        {"setpriv --bounding-set -net_bind_service vxpctl backup ap1 --to out", 8, "permission",
         "not permitted to listen on UDP port 69"},
        {"unshare -m sh -c 'mount --bind /dev/null /usr/sbin/in.tftpd; exec \"$@\"' - vxpctl backup ap1 --to out", 8,
         "no_server_program", "/usr/sbin/in.tftpd"},
        {"vxpctl upgrade ap1 --file image", 9, "not_confirmed", "consent"},
    });
    EXPECT_EQ(sh("ls full").strOut, "fill\n");

    filter("input", "tcp dport 80 reject");
    lab.on("ap1", "rm /usr/sbin/tftp"); // which would try for a quarter of a minute to pass a firewall
    expectRefusals({
        {"vxpctl upgrade ap1 --file image --yes", 8, "not_fetched", "http://192.168.0.1/"},
        {"vxpctl restore ap1 --file strange --yes", 8, "not_fetched", "http://192.168.0.1/"},
        {"vxpctl backup ap1 --to out", 8, "not_received", "nothing has arrived"},
    });
    lab.on("ap1", "ln -s ../bin/busybox /usr/sbin/tftp");
    sh("nft delete table inet t");
    filter("input", "udp dport != 62992 quota over 20 kbytes drop"); // it waits in vain: or it might be over before
    Program unserved = lab.start(
        {"run", "vxpctl", "upgrade", "ap1", "--yes", "--protocol", "tftp", "--file", lab.folder() + "/large"});
    const std::string strKill =
        "pgrep -x in.tftpd | sed 1d | grep -q . && pkill -KILL -x in.tftpd && nft delete table inet t";
    ASSERT_TRUE(eventually([&] { return sh(strKill).iStatus == 0; })) << unserved.err();
    EXPECT_EQ(unserved.status(), 6);
    EXPECT_THAT(unserved.err(), HasSubstr("File download failed"));
    forget("ap1");

    Program dying = lab.start({"run", "sh", "-c", "cd " + lab.folder() + " && exec busybox nc -ll -p 80 -e ./dying"});
    ASSERT_TRUE(eventually([&] { return sh("grep ':0050 ' /proc/net/tcp /proc/net/tcp6").iStatus == 0; }));
    expectRefusal(
        {"vxpctl upgrade ap1 --server 192.168.0.1 --name image --yes", 6, "device_error", "'Validation failed'"});

    // What it does not forget by itself stands in the way, and is said to.
    lab.set("ap1", "firmware-upgrade progress", "Validation failed");
    const Result blocked = sh("vxpctl upgrade ap1 --server 192.168.0.1 --name image --yes");
    EXPECT_EQ(blocked.iStatus, 6);
    EXPECT_THAT(blocked.strErr, HasSubstr("hint: vxpctl reboot 02:00:00:00:00:01"));
    EXPECT_EQ(lab.get("ap1", "system version"), "4.1.0");
}

TEST_F(TransfersTest, TellsOfWhatDoesNotComeToAnEnd)
{
    const auto upgrade = [&](const char *strDevice, const char *strFile, const char *strWait) {
        return lab.start({"run", "vxpctl", "upgrade", strDevice, "--yes", "--wait", strWait, "--file",
                          lab.folder() + "/" + strFile});
    };
    const auto tells = [](const Program &program, const char *strText) {
        return eventually([&] { return program.err().find(strText) != std::string::npos; });
    };
    // When it has restarted, nobody answers.
    ASSERT_EQ(lab.on("ap1", "busybox mount --bind /dev/null $(command -v vxpd)").iStatus, 0);
    Program lost = upgrade("ap1", "image", "5");
    ASSERT_TRUE(tells(lost, "restarting")) << lost.err();
    EXPECT_EQ(lost.status(), 4) << lost.err();
    EXPECT_THAT(lost.err(), HasSubstr("has not come back in time"));

    filter("output", "tcp sport 80 ip length gt 1000 quota over 1000 kbytes drop");
    Program interrupted = upgrade("ap2", "large", "60");
    ASSERT_TRUE(tells(interrupted, "fetching")) << interrupted.err();
    // The device gets nothing into the server; others are not heard.
    const std::string strPost = "timeout 1 bash -c 'exec 3<>/dev/tcp/192.168.0.1/80 &&"
                                " printf \"POST / HTTP/1.1\\r\\nContent-Length: 90000000\\r\\n\\r\\n\" >&3;"
                                " head -n 1 <&3'";
    EXPECT_EQ(lab.on("ap2", strPost).strOut, "HTTP/1.1 405 Method Not Allowed\r\n");
    EXPECT_EQ(lab.on("ap3", strPost).iStatus, 124);
    interrupted.signal(SIGINT);
    EXPECT_EQ(interrupted.status(), 130) << interrupted.err();
    EXPECT_THAT(interrupted.err(), HasSubstr("the device may do what it was asked"));
    expectRefusal({"vxpctl upgrade ap3 --file large --yes --wait 3", 4, "not_back", " of 8000144 bytes"});
}

TEST_F(TransfersTest, AsksAgainForWhatWasLostAndForNothingTwice)
{
    // On the way to all four, the first request to begin is lost, and what is asked of them in the next two seconds.
    const std::string strLossy =
        "nft 'table bridge lossy { set later { type inet_proto; flags timeout; timeout 2300ms; };"
        " quota first { until 800 bytes; }; chain out { type filter hook output priority 0;"
        " udp dport 62976 udp length 165 quota name \"first\" add @later { ip protocol } drop;"
        " udp dport 62976 udp length 33 ip protocol @later drop; }; }' || exit\nvxpctl ";
    for (const std::string strLine :
         {"backup ap2 --to out/lost", "restore ap2 --file out/lost --yes", "upgrade ap2 --file image --yes"}) {
        const Result result = sh(strLossy + strLine +
                                 " -o value -f result\nnft list table bridge lossy | grep 'used [4-8]'"
                                 " && nft delete table bridge lossy");
        EXPECT_THAT(result.strOut, testing::MatchesRegex("verified\n.*800 bytes used .*\n")) << result.strErr;
    }

    // A backup that takes its time, to where nobody sees what has arrived.
    Program server = lab.start({"serve", lab.folder()});
    ASSERT_TRUE(eventually([&] { return server.out().find("Serving") != std::string::npos; })) << server.err();
    lab.on("ap1", "cd /usr/sbin; rm config-dump; printf '#!/bin/sh\nsleep 1.3; echo >>/tmp/dumps;"
                  " exec vxptool config-dump \"$@\"\n' >config-dump; chmod +x config-dump");
    EXPECT_EQ(sh("vxpctl backup ap1 --server 192.168.0.1 --name slow").iStatus, 10);
    EXPECT_EQ(lab.on("ap1", "wc -l </tmp/dumps").strOut, "1\n");
    server.signal(SIGTERM);
    EXPECT_NE(server.status(), -1);
}

TEST_F(TransfersTest, DoesNotBelieveADeviceThatSaysYesToEverything)
{
    expectRefusal({"vxpctl restore ap1 --file strange --protocol tftp --yes", 10, "not_verified",
                   "its backup differs from the file"});
}

} // namespace
