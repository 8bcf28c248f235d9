// SPDX-License-Identifier: Apache-2.0
//
// Reboot, resets, commit; the traces of device developers.
#include "tests/blackbox/effects.h"

namespace
{

using EffectsDevice = Effects;

TEST_F(EffectsDevice, TriggersAreOnTheRightSideOfTheReply)
{
    check(0x103, {"reboot", {}, status(), "reply 38 | set system reboot=yes"});
    check(0xAB, {"reset", {}, status(), "reply 38 | set system factory-reset=yes"});
    check(0xC0, {"commit", {}, status(), "set config startup=running | reply 38"});
    check(0xC0, {"refused", {}, status(), refusing("set config startup=running | reply 38"), REFUSING});
}

TEST_F(EffectsDevice, ResetKeepsAStaticAddress)
{
    const std::string strSaved = m_device.folder() + "/etc/reserved_IP";
    // The file's fields are read when it has been opened, on both calls.
    const auto twice = [](const std::string &strRead) {
        return strRead + " | reply 38 | " + strRead + " | set system factory-reset=yes";
    };
    const std::string strStatus = "get management dhcp-status", strOther = twice(strStatus),
                      strStatic = twice(strStatus + " | get management static-ip | get management static-mask | "
                                                    "get static-ip-route gateway");
    const std::string strAddress = "management static-ip: 192.168.0.50 | management static-mask: 255.255.255.0 | "
                                   "static-ip-route mask: 255.0.0.0 | static-ip-route gateway: 192.168.0.1";
    m_strAlways = "@reads: management dhcp-status | @reads 2: management static- | @reads 3: static-ip-route";
    const struct {
        Effect effect;
        std::string strFile;
    } SAVED[] = {
        {{"static", {}, status(), strStatic, strAddress}, "192.168.0.50,255.255.255.0,192.168.0.1,"},
        {{"31 characters of each", {}, status(), strStatic, "static-ip-route gateway: " + std::string(40, '1')},
         ",," + std::string(31, '1') + ","},
        {{"DHCP", {}, status(), strOther, strAddress + " | management dhcp-status: up"}, "an earlier one"},
        {{"neither", {}, status(), strOther, strAddress + " | management dhcp-status: Down"}, "an earlier one"},
    };
    for (const auto &is : SAVED) {
        writeFile(strSaved, "an earlier one");
        check(0xAA, is.effect);
        EXPECT_EQ(readFile(strSaved), is.strFile) << is.effect.strCase;
    }
    m_device.run("rm /etc/reserved_IP; mkdir /etc/reserved_IP");
    check(0xAA, {"the file cannot be made", {}, status(), strOther, strAddress});
}

// The marker file switches the traces of commands, those of plain system calls never.
TEST_F(EffectsDevice, CommandTrace)
{
    m_device.run("mkdir -p /system/cfg; touch /system/cfg/debug");
    const auto all = [](const std::string &strFailure) {
        std::string strAll;
        for (const std::string strCommand : {"submit SET_IPADDRESS", "submit COMMIT"})
            strAll += "SYSCMD: " + strCommand + " | /$ " + strCommand + " | " +
                      (strFailure.empty()
                           ? ""
                           : "!!!status=" + strFailure + " | cmd=\"" + strCommand + "\" not exited normally. | ");
        return strAll + "reply 38";
    };
    check(0xD2, {"clean", {}, status(), all("")});
    check(0xD2, {"missing", {}, status(), all("32512, WIFEXITED=1, WEXITSTATUS=127"), "", "submit: (none)"});
    check(0xD2, {"killed", {}, status(), all("9, WIFEXITED=0, WEXITSTATUS=0"), "", "submit: " + KILLED});
    const std::string strFlash =
        "/tmp$ killall -2 mDNSResponderPosix | /tmp$ /usr/sbin/flash-upgrade a >/dev/console 2>&1 &";
    prepare();
    ask(request(0x100, 1, HTTP4 + text("a", 128)));
    EXPECT_THAT(noted("effects"), testing::HasSubstr("Upgrading firmware | " + strFlash + " | reply 152"));
    m_device.run("rm /system/cfg/debug");
    const std::string strPlain = "/tmp$ submit SET_IPADDRESS | /tmp$ submit COMMIT | reply 38";
    check(0xD2, {"without the marker", {}, status(), strPlain, "", "submit: exit 1"});
}

} // namespace
