// SPDX-License-Identifier: Apache-2.0
//
// Whole simulated devices, driven by vxplab as a person would.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/wait.h>
#include <thread>

using testing::HasSubstr;

namespace
{

struct Result {
    int status;
    std::string output; // standard output and error
};

Result shell(const std::string &line)
{
    FILE *const pipe = popen(("PATH=" VXP_BIN ":$PATH; { " + line + "\n} 2>&1").c_str(), "re");
    std::string output;
    for (int ch; (ch = getc(pipe)) != EOF;)
        output += static_cast<char>(ch);
    return {WEXITSTATUS(pclose(pipe)), output};
}

bool eventually(const std::function<bool()> &condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

class LabTest : public testing::Test
{
protected:
    void SetUp() override
    {
        char folder[] = "/tmp/vxp-lab.XXXXXX";
        ASSERT_TRUE(mkdtemp(folder));
        m_folder = folder;
        setenv("VXPLAB_STATE", (m_folder + "/state").c_str(), 1);
        if (shell(VXP_HELPERS "/in-namespaces true").status == 77)
            GTEST_SKIP() << "no namespaces here";
        if (const Result tools = shell("vxplab --check-tools"); tools.status != 0)
            GTEST_SKIP() << tools.output;
    }
    void TearDown() override
    {
        shell("vxplab down");
        std::filesystem::remove_all(m_folder);
    }

    static void up(const std::string &arguments)
    {
        const Result result = shell("timeout 60 vxplab up --boot-time 1.5 --flash-time 0.1 " + arguments);
        ASSERT_EQ(result.status, 0) << result.output;
    }
    // One of its lines of output less its line break.
    static std::string on(const std::string &device, const std::string &command)
    {
        std::string output = shell("vxplab exec " + device + " " + command).output;
        return output.substr(0, output.find('\n'));
    }
    static std::string get(const std::string &name) { return on("ap1", "lsqlctl get " + name); }
    static void set(const std::string &name, const std::string &value)
    {
        const Result result = shell("vxplab exec ap1 lsqlctl set " + name + " '" + value + "'");
        ASSERT_EQ(result.status, 0) << result.output;
    }
    static bool becomes(const std::string &name, const std::string &value)
    {
        return eventually([&] { return get(name) == value; });
    }
    static std::string daemon() { return on("ap1", "pgrep -x vxpd"); }

    // Until another daemon than OLD listens.
    static bool isBack(const std::string &old)
    {
        return eventually([&] {
            const std::string now = daemon();
            return !now.empty() && now != old && shell("vxplab exec ap1 grep -q :F600 /proc/net/udp").status == 0;
        });
    }
    // Pull a trigger, and wait until the device has booted again.
    static void rebootBy(const std::string &trigger)
    {
        const std::string old = daemon();
        set("system " + trigger, "yes");
        ASSERT_TRUE(eventually([] {
            return shell("vxplab exec ap1 sh -c 'test ! -e /var/run/vxman.pid && ! pgrep -x vxpd' && "
                         "vxplab ps | grep -q booting")
                       .status == 0;
        })) << "it was never off";
        ASSERT_TRUE(isBack(old));
    }

    std::string m_folder;
};

TEST_F(LabTest, AppliesAndReportsAddresses)
{
    up("1");
    set("management static-ip", "10.1.2.3");
    set("static-ip-route mask", "255.255.0.0");
    set("static-ip-route gateway", "10.1.0.1");
    EXPECT_TRUE(becomes("management ip", "10.1.2.3"));
    EXPECT_EQ(get("management mask"), "255.255.0.0");
    EXPECT_EQ(get("management static-mask"), "255.255.0.0");
    EXPECT_EQ(get("ip-route gateway"), "10.1.0.1");
    EXPECT_THAT(on("ap1", "ip -4 -br address show brtrunk"), HasSubstr(" 10.1.2.3/16 "));
    EXPECT_THAT(on("ap1", "ip route show default"), HasSubstr("via 10.1.0.1"));

    // What no interface can have changes nothing.
    set("static-ip-route mask", "255.0.255.0");
    EXPECT_TRUE(eventually([] { return shell("vxplab log ap1 | grep -q 'is not usable'").status == 0; }));
    EXPECT_EQ(get("management mask"), "255.255.0.0");
    EXPECT_THAT(on("ap1", "ip -4 -br address show brtrunk"), HasSubstr(" 10.1.2.3/16 "));

    set("management ipv6-status", "up");
    set("management static-ipv6", "2001:db8::5");
    set("management static-ipv6-prefix-length", "48");
    EXPECT_TRUE(eventually(
        [] { return on("ap1", "ip -6 -br address show brtrunk").find("2001:db8::5/48") != std::string::npos; }));
}

TEST_F(LabTest, TakesALeaseAndGivesItBack)
{
    up("1 --dhcp");
    set("host dns-via-dhcp", "up");
    set("management dhcp-status", "up");
    EXPECT_TRUE(eventually([] { return get("management ip").starts_with("192.168.0.2"); }));
    EXPECT_EQ(get("ip-route gateway"), "192.168.0.1");
    EXPECT_EQ(get("host dns-2"), "9.9.9.9");
    set("management dhcp-status", "down");
    EXPECT_TRUE(becomes("management ip", "192.168.0.51"));
    EXPECT_TRUE(eventually([] { return on("ap1", "pgrep -x busybox").empty(); }));

    set("management ipv6-status", "up");
    set("management ipv6-autoconfig-status", "up");
    EXPECT_TRUE(eventually([] { return get("management autoconfig-ipv6-global-all").starts_with("fd57:7870:"); }));
    EXPECT_TRUE(eventually([] { return get("management ipv6-default-gateway").starts_with("fe80:"); }));
}

TEST_F(LabTest, FallsBackToALinkLocalAddressWithoutADHCPServer)
{
    up("1");
    set("management dhcp-status", "up");
    EXPECT_TRUE(becomes("management ip", "169.254.1.2"));
}

TEST_F(LabTest, BootsWithWhatWasSavedAndResetsToWhatItCameWith)
{
    up("1");
    const std::string password = get("system encrypted-password");
    set("system system-name", "saved");
    set("config startup", "running");
    ASSERT_TRUE(eventually([] { return get("config startup").empty(); }));
    set("system system-name", "lost");
    set("config status", "failed");
    set("firmware-upgrade progress", "Validation failed");
    on("ap1", "touch /tmp/file");
    rebootBy("reboot");
    EXPECT_EQ(get("system system-name"), "saved");
    EXPECT_EQ(get("config status"), "");
    EXPECT_EQ(get("firmware-upgrade progress"), "");
    EXPECT_EQ(on("ap1", "ls /tmp"), "");

    rebootBy("factory-reset");
    EXPECT_EQ(get("system system-name"), "ap1");
    EXPECT_EQ(get("system encrypted-password"), password);
    rebootBy("reboot");
    EXPECT_EQ(get("system system-name"), "ap1");
}

TEST_F(LabTest, KeepsTheAddressThatTheDaemonSaved)
{
    up("1");
    on("ap1", "sh -c 'printf 10.9.8.7,255.255.240.0,10.9.8.1, >/etc/reserved_IP'");
    rebootBy("factory-reset");
    EXPECT_TRUE(becomes("management ip", "10.9.8.7"));
    EXPECT_EQ(get("management mask"), "255.255.240.0");
    EXPECT_EQ(get("ip-route gateway"), "10.9.8.1");
    EXPECT_EQ(shell("vxplab exec ap1 test -e /etc/reserved_IP").status, 1);
}

TEST_F(LabTest, UpgradesOverTFTP)
{
    up("1");
    const std::string serve = "vxplab run sh -c 'cd /dev/shm && mkdir -p tftp && "
                              "vxpimage --model AP-2600 --version 4.2.0 -o tftp/good && "
                              "vxpimage --model AP-1 --version 4.2.0 -o tftp/foreign && "
                              "exec setsid in.tftpd --listen --secure --user root --address 192.168.0.1 /dev/shm/tftp'";
    if (const Result result = shell(serve); result.status != 0)
        GTEST_SKIP() << "no TFTP server: " << result.output;
    const auto upgrade = [](const std::string &file) {
        set("firmware-upgrade progress", "");
        on("ap1", "/splashbin/firmware-upgrade tftp://192.168.0.1/" + file);
        return get("firmware-upgrade progress");
    };
    EXPECT_EQ(upgrade("missing"), "File download failed");
    EXPECT_EQ(upgrade("foreign"), "Validation failed");
    EXPECT_EQ(upgrade("good"), "1");
    EXPECT_EQ(on("ap1", "ls /tmp"), "");
    EXPECT_EQ(get("system version"), "4.1.0");
    rebootBy("reboot");
    EXPECT_EQ(get("system version"), "4.2.0");
    rebootBy("factory-reset");
    EXPECT_EQ(get("system version"), "4.2.0");
}

TEST_F(LabTest, StartsTheDaemonAgainAndStaysOffAfterAShutdown)
{
    up("2");
    const std::string old = daemon();
    on("ap1", "kill -ABRT " + old);
    EXPECT_TRUE(isBack(old));

    on("ap1", "submit SHUTDOWN");
    EXPECT_TRUE(eventually([] { return shell("vxplab ps | grep -c ' off '").output == "1\n"; }));
    EXPECT_EQ(shell("vxplab start ap1").status, 0);
    EXPECT_TRUE(isBack(""));
    EXPECT_EQ(shell("vxplab stop ap2 && vxplab ps | grep -c ' off '").output, "1\n");
}

TEST_F(LabTest, LosesPacketsInEachDirection)
{
    up("1");
    const std::string ping =
        "vxplab run busybox ping -q -i 0.01 -c 200 -W 1 192.168.0.51 | grep -oE '[0-9]+ packets received'";
    EXPECT_EQ(shell(ping).output, "200 packets received\n");
    ASSERT_EQ(shell("vxplab loss ap1 70").output, "");
    const int received = atoi(shell(ping).output.c_str()); // 18 are expected, 60 if one way were spared
    EXPECT_GT(received, 0);
    EXPECT_LT(received, 38);
    ASSERT_EQ(shell("vxplab loss ap1 0").status, 0);
    EXPECT_EQ(shell(ping).output, "200 packets received\n");
}

TEST_F(LabTest, LeavesNothingBehind)
{
    const std::string state = m_folder + "/state";
    // Its processes are those with this environment in another network than ours.
    const auto processes = [&] {
        return shell("ours=$(readlink /proc/self/ns/net)\n"
                     "for file in $(grep -lzs '^VXPLAB_STATE=" +
                     state +
                     "$' /proc/[0-9]*/environ); do\n"
                     "theirs=$(readlink ${file%environ}ns/net) || continue\n"
                     "[ $theirs = $ours ] || echo $file\n"
                     "done")
            .output;
    };
    const auto isGone = [&] { return !std::filesystem::exists(state) && processes().empty(); };
    struct {
        const char *what;
        std::string end;
    } const ends[] = {
        {"down", "vxplab down"},
        {"a crash of the lab", "kill -KILL $(cat " + state + "/pid)"},
        {"an end by signal", "kill -TERM $(cat " + state + "/pid)"},
    };
    for (const auto &[what, end] : ends) {
        up("2");
        EXPECT_NE(processes(), "") << what;
        EXPECT_EQ(shell(end).status, 0) << what;
        EXPECT_TRUE(eventually(isGone)) << what;
    }
    // Interrupted, before and after it is up.
    for (const char *seconds : {"0.1", "3"}) {
        shell("timeout --foreground -s INT " + std::string(seconds) + " vxplab up 2 --foreground");
        EXPECT_TRUE(eventually(isGone)) << seconds;
    }
    EXPECT_EQ(shell("vxplab ps").status, 1);

    // A number that was left over may be a stranger's by now.
    const Result stranger = shell("mkdir -p " + state + "; env -u VXPLAB_STATE sleep 60 & echo $! >" + state +
                                  "/pid; vxplab ps; vxplab down; kill $!");
    EXPECT_THAT(stranger.output, HasSubstr("no lab is up"));
    EXPECT_EQ(stranger.status, 0) << "it was ended";
}

TEST_F(LabTest, RefusesWhatIsNoFleet)
{
    const struct {
        const char *line;
        const char *problem;
    } cases[] = {
        {"", "there is no access point in it"},
        {"a M 1", ":1: expected NAME MODEL VERSION"},
        {"a/b M 1 dhcp", "is no name"},
        {"a M 1 dhcp\\na M 1 dhcp", ":2: there is an access point a already"},
        {"a M 1 10.0.0.1", "neither ADDRESS/LENGTH nor dhcp"},
        {"a M 1 10.0.0.256/8", "neither ADDRESS/LENGTH nor dhcp"},
        {"a M 1 dhcp mac=01:00:00:00:00:01", "neither gateway=ADDRESS nor mac=MAC"},
    };
    for (const auto &[line, problem] : cases) {
        const Result result = shell("printf '" + std::string(line) + "' >" + m_folder + "/fleet; vxplab up --file " +
                                    m_folder + "/fleet");
        EXPECT_NE(result.status, 0) << line;
        EXPECT_THAT(result.output, HasSubstr(problem)) << line;
    }
}

} // namespace
