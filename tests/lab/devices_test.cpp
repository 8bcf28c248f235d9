// SPDX-License-Identifier: Apache-2.0
//
// Whole simulated devices, driven by vxplab as a person would.
#include "tests/support/lab.h"

#include <filesystem>

using testing::AllOf;
using testing::Gt;
using testing::HasSubstr;
using testing::Lt;

namespace
{

class LabTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (const std::string strMissing = Lab::missing(); !strMissing.empty())
            GTEST_SKIP() << strMissing;
    }
    void up(const Words &options = {"1"}) const
    {
        const Result result = lab.up(options);
        ASSERT_EQ(result.iStatus, 0) << result.strErr;
    }
    std::string get(const std::string &strName) const { return lab.get("ap1", strName); }
    void set(const std::string &strName, const std::string &strValue) const { lab.set("ap1", strName, strValue); }
    bool becomes(const std::string &strName, const std::string &strValue) const
    {
        return lab.becomes("ap1", strName, strValue);
    }
    std::string on(const std::string &strLine) const { return lab.on("ap1", strLine).strOut; }
    bool isOff(const std::string &strDevice) const
    {
        return lab.shell("vxplab ps | grep -q '^" + strDevice + " *off '").iStatus == 0;
    }

    // Pull a trigger, and wait until the device has booted again.
    void rebootBy(const std::string &strTrigger) const
    {
        const std::string strOld = lab.daemon("ap1");
        set("system " + strTrigger, "yes");
        ASSERT_TRUE(eventually([&] {
            return lab.shell("vxplab ps | grep -q booting && "
                             "vxplab exec ap1 sh -c 'test ! -e /var/run/vxman.pid && ! pgrep -x vxpd'")
                       .iStatus == 0;
        })) << "it was never off";
        ASSERT_TRUE(lab.rebooted("ap1", strOld));
    }

    const Lab lab{};
};

TEST_F(LabTest, AppliesAndReportsAddresses)
{
    up();
    set("management static-ip", "10.1.2.3");
    set("static-ip-route mask", "255.255.0.0");
    set("static-ip-route gateway", "10.1.0.1");
    EXPECT_TRUE(becomes("ip-route gateway", "10.1.0.1"));
    EXPECT_EQ(get("management ip") + "/" + get("management mask"), "10.1.2.3/255.255.0.0");
    const auto kernelHas = [&] { return on("ip -4 -br address show brtrunk; ip route show default"); };
    EXPECT_THAT(kernelHas(), AllOf(HasSubstr(" 10.1.2.3/16 "), HasSubstr("via 10.1.0.1")));

    // What no interface can have changes nothing.
    set("static-ip-route mask", "255.0.255.0");
    EXPECT_TRUE(eventually([&] { return lab.shell("vxplab log ap1 | grep -q 'is not usable'").iStatus == 0; }));
    EXPECT_THAT(kernelHas(), HasSubstr(" 10.1.2.3/16 "));

    set("management ipv6-status", "up");
    set("management static-ipv6", "2001:db8::5");
    set("management static-ipv6-prefix-length", "48");
    EXPECT_TRUE(
        eventually([&] { return on("ip -6 -br address show brtrunk").find("2001:db8::5/48") != std::string::npos; }));
}

TEST_F(LabTest, TakesALeaseAndGivesItBack)
{
    up({"1", "--dhcp"});
    set("host dns-via-dhcp", "up");
    set("management dhcp-status", "up");
    EXPECT_TRUE(eventually([&] { return get("management ip").starts_with("192.168.0.2"); }));
    EXPECT_EQ(get("ip-route gateway"), "192.168.0.1");
    EXPECT_EQ(get("host dns-2"), "9.9.9.9");
    set("management dhcp-status", "down");
    EXPECT_TRUE(becomes("management ip", "192.168.0.51"));
    EXPECT_TRUE(eventually([&] { return on("pgrep -x busybox").empty(); }));

    set("management ipv6-status", "up");
    set("management ipv6-autoconfig-status", "up");
    EXPECT_TRUE(eventually([&] { return get("management autoconfig-ipv6-global-all").starts_with("fd57:7870:"); }));
    EXPECT_TRUE(eventually([&] { return get("management ipv6-default-gateway").starts_with("fe80:"); }));
}

TEST_F(LabTest, FallsBackToALinkLocalAddressWithoutADHCPServer)
{
    up();
    set("management dhcp-status", "up");
    EXPECT_TRUE(becomes("management ip", "169.254.1.2"));
}

TEST_F(LabTest, ARestartForgetsWhatIsPassingAndKeepsTheFirmware)
{
    up({"1", "--boot-time", "3"}); // long enough to see that it is off
    const std::string password = get("system encrypted-password");
    Program server = lab.start({"serve", lab.folder()});
    ASSERT_TRUE(eventually([&] { return server.out().find("Serving") != std::string::npos; })) << server.err();
    ASSERT_EQ(lab.shell("vxpimage --model AP-2600 --version 4.2.0 -o " + lab.folder() + "/image").iStatus, 0);
    on("/splashbin/firmware-upgrade tftp://192.168.0.1/missing");
    EXPECT_EQ(get("firmware-upgrade progress"), "File download failed");
    on("/splashbin/firmware-upgrade tftp://192.168.0.1/image");
    EXPECT_EQ(get("firmware-upgrade progress"), "1");
    EXPECT_EQ(on("ls /tmp"), "");
    EXPECT_EQ(get("system version"), "4.1.0");

    set("config status", "failed");
    on("touch /tmp/file");
    rebootBy("reboot");
    EXPECT_EQ(get("system version"), "4.2.0");
    EXPECT_EQ(get("config status") + get("firmware-upgrade progress") + on("ls /tmp"), "");

    rebootBy("factory-reset");
    EXPECT_EQ(get("system version"), "4.2.0");
    EXPECT_EQ(get("system encrypted-password"), password);
}

TEST_F(LabTest, StartsTheDaemonAgainAndStaysOffAfterAShutdown)
{
    up({"2"});
    const std::string strOld = lab.daemon("ap1");
    on("kill -ABRT " + strOld);
    EXPECT_TRUE(lab.rebooted("ap1", strOld));

    on("submit SHUTDOWN");
    EXPECT_TRUE(eventually([&] { return isOff("ap1"); }));
    EXPECT_EQ(lab.vxplab({"start", "ap1"}).iStatus, 0);
    EXPECT_TRUE(lab.rebooted("ap1", ""));
    EXPECT_EQ(lab.vxplab({"stop", "ap2"}).iStatus, 0);
    EXPECT_TRUE(isOff("ap2"));
    EXPECT_FALSE(isOff("ap1"));
}

TEST_F(LabTest, LosesPacketsInEachDirection)
{
    up();
    const auto received = [&] {
        const std::string strPing = "busybox ping -q -i 0.002 -c 200 -W 1 192.168.0.51 | "
                                    "sed -n 's/.* \\([0-9]*\\) packets received.*/\\1/p'";
        return atoi(lab.run({"sh", "-c", strPing}).strOut.c_str());
    };
    EXPECT_EQ(received(), 200);
    ASSERT_EQ(lab.vxplab({"loss", "ap1", "70"}).iStatus, 0);
    EXPECT_THAT(received(), AllOf(Gt(0), Lt(38))); // 18 are expected, 60 if one way were spared
    ASSERT_EQ(lab.vxplab({"loss", "ap1", "0"}).iStatus, 0);
    EXPECT_EQ(received(), 200);
}

TEST_F(LabTest, LeavesNothingBehind)
{
    const std::string strState = lab.folder() + "/state";
    // Its processes are those with this environment in another network than ours.
    const auto processes = [&] {
        return lab
            .shell("ours=$(readlink /proc/self/ns/net)\n"
                   "for file in $(grep -lzs \"^VXPLAB_STATE=$VXPLAB_STATE\\$\" /proc/[0-9]*/environ); do\n"
                   "theirs=$(readlink ${file%environ}ns/net) || continue\n"
                   "[ $theirs = $ours ] || echo $file\n"
                   "done")
            .strOut;
    };
    const auto isGone = [&] { return !std::filesystem::exists(strState) && processes().empty(); };
    for (const char *strEnd :
         {"vxplab down", "kill -KILL $(cat $VXPLAB_STATE/pid)", "kill -TERM $(cat $VXPLAB_STATE/pid)"}) {
        up({"2"});
        EXPECT_NE(processes(), "") << strEnd;
        EXPECT_EQ(lab.shell(strEnd).iStatus, 0) << strEnd;
        EXPECT_TRUE(eventually(isGone)) << strEnd;
    }
    // Interrupted, before and after it is up.
    for (const std::string strSeconds : {"0.1", "3"}) {
        lab.shell("timeout --foreground -s INT " + strSeconds + " vxplab up 2 --foreground");
        EXPECT_TRUE(eventually(isGone)) << strSeconds;
    }
    EXPECT_EQ(lab.vxplab({"ps"}).iStatus, 1);

    // A number that was left over may be a stranger's by now.
    const Result stranger = lab.shell("mkdir -p $VXPLAB_STATE; env -u VXPLAB_STATE sleep 60 & "
                                      "echo $! >$VXPLAB_STATE/pid; vxplab ps; vxplab down; kill $!");
    EXPECT_THAT(stranger.strErr, HasSubstr("no lab is up"));
    EXPECT_EQ(stranger.iStatus, 0) << "it was ended";
}

TEST_F(LabTest, RefusesWhatIsNoFleet)
{
    const std::pair<const char *, const char *> cases[] = {
        {"\n", "there is no access point in it"},
        {"a M 1", ":1: expected NAME MODEL VERSION"},
        {"a/b M 1 dhcp", "is no name"},
        {"a M 1 dhcp\na M 1 dhcp", ":2: there is an access point a already"},
        {"a M 1 10.0.0.1", "neither ADDRESS/LENGTH nor dhcp"},
        {"a M 1 10.0.0.256/8", "neither ADDRESS/LENGTH nor dhcp"},
        {"a M 1 dhcp mac=01:00:00:00:00:01", "neither gateway=ADDRESS nor mac=MAC"},
    };
    for (const auto &[strFleet, strProblem] : cases) {
        const Result result = lab.up({}, strFleet);
        EXPECT_NE(result.iStatus, 0) << strFleet;
        EXPECT_THAT(result.strErr, HasSubstr(strProblem)) << strFleet;
    }
}

} // namespace
