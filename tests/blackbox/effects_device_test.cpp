// SPDX-License-Identifier: Apache-2.0
//
// Reboot, resets, commit; the traces of device developers.
#include "tests/blackbox/effects.h"

namespace
{

class EffectsDevice : public Effects
{
protected:
    using Effects::Effects;
    std::string m_strSaved = m_device.folder() + "/etc/reserved_IP";
};

TEST_F(EffectsDevice, TriggersAreOnTheRightSideOfTheReply)
{
    check(0x103, {"reboot", {}, statusFrame("03 01", "00 00 00 00"), "reply 38 | set system reboot=yes"}, {});
    check(0xAB, {"reset", {}, statusFrame("ab 00", "00 00 00 00"), "reply 38 | set system factory-reset=yes"});
    check(0xC0, {"commit", {}, statusFrame("c0 00", "00 00 00 00"), "set config startup=running | reply 38"});
    check(0xC0, {"commit refused",
                 {},
                 statusFrame("c0 00", "00 00 00 00"),
                 "set config startup=running | Error occurred on set: no | reply 38",
                 {{"@fail", "no"}}});
}

struct Saved {
    Effect effect;
    std::string strFile;
};

TEST_F(EffectsDevice, ResetKeepsAStaticAddress)
{
    const Bytes done = statusFrame("aa 00", "00 00 00 00");
    const std::string strStatus = "get management dhcp-status", strTrigger = "set system factory-reset=yes";
    // The file's fields are read when it has been opened, on both calls.
    const std::string strRead =
        strStatus + " | get management static-ip | get management static-mask | get static-ip-route gateway";
    const Settings address = {{"management static-ip", "192.168.0.50"},
                              {"management static-mask", "255.255.255.0"},
                              {"static-ip-route mask", "255.0.0.0"},
                              {"static-ip-route gateway", "192.168.0.1"}};
    const auto with = [&](const Settings &changes) {
        Settings result = changes;
        result.merge(Settings(address));
        return result;
    };
    const std::string strStatic = strRead + " | reply 38 | " + strRead + " | " + strTrigger;
    const std::string strOther = strStatus + " | reply 38 | " + strStatus + " | " + strTrigger;
    m_always = {
        {"@reads", "management dhcp-status"}, {"@reads 2", "management static-"}, {"@reads 3", "static-ip-route"}};
    const Saved SAVED[] = {
        {{"static", {}, done, strStatic, address}, "192.168.0.50,255.255.255.0,192.168.0.1,"},
        {{"no gateway", {}, done, strStatic, with({{"static-ip-route gateway", ""}})}, "192.168.0.50,255.255.255.0,,"},
        {{"nothing stored", {}, done, strStatic}, ",,,"},
        {{"31 characters of each", {}, done, strStatic, with({{"management static-ip", std::string(40, '1')}})},
         std::string(31, '1') + ",255.255.255.0,192.168.0.1,"},
        {{"DHCP", {}, done, strOther, with({{"management dhcp-status", "up"}})}, "an earlier one"},
        {{"neither", {}, done, strOther, with({{"management dhcp-status", "Down"}})}, "an earlier one"},
    };
    for (const Saved &is : SAVED) {
        writeFile(m_strSaved, "an earlier one");
        check(0xAA, is.effect);
        EXPECT_EQ(readFile(m_strSaved), is.strFile) << is.effect.strCase;
    }
    m_device.run("rm /etc/reserved_IP; mkdir /etc/reserved_IP");
    check(0xAA, {"the file cannot be made", {}, done, strOther, address});
}

// The marker file switches the traces of commands, those of plain system calls never.
TEST_F(EffectsDevice, CommandTrace)
{
    const Bytes done = statusFrame("d2 00", "00 00 00 00");
    m_device.run("mkdir -p /system/cfg; touch /system/cfg/debug");
    const auto failed = [](const std::string &strWhat, const std::string &strStatus) {
        const std::string strCommand = "submit " + strWhat;
        return "SYSCMD: " + strCommand + " | /$ " + strCommand + " | !!!status=" + strStatus + " | cmd=\"" +
               strCommand + "\" not exited normally. | ";
    };
    const auto allFailed = [&](const std::string &strStatus) {
        return failed("SET_IPADDRESS", strStatus) + failed("COMMIT", strStatus) + "reply 38";
    };
    const Effect EFFECTS[] = {
        {"clean",
         {},
         done,
         "SYSCMD: submit SET_IPADDRESS | /$ submit SET_IPADDRESS | SYSCMD: submit COMMIT | /$ submit COMMIT | reply "
         "38"},
        {"status 1", {}, done, allFailed("256, WIFEXITED=1, WEXITSTATUS=1"), {}, {{"submit", "exit 1"}}},
        {"missing", {}, done, allFailed("32512, WIFEXITED=1, WEXITSTATUS=127"), {}, {{"submit", std::nullopt}}},
        {"killed", {}, done, allFailed("9, WIFEXITED=0, WEXITSTATUS=0"), {}, {{"submit", KILLED}}},
    };
    checkAll(0xD2, EFFECTS);
    m_device.run("rm /system/cfg/debug");
    check(0xD2, {"without the marker",
                 {},
                 done,
                 "/$ submit SET_IPADDRESS | /$ submit COMMIT | reply 38",
                 {},
                 {{"submit", "exit 1"}}});
}

class EffectsDebug : public EffectsDevice
{
protected:
    EffectsDebug() : EffectsDevice("-d", "2>&1") {}
};

// Of the reset without address, the file comes before the log's line, on both calls.
TEST_F(EffectsDebug, LogLines)
{
    m_device.run("umount /Volume_1");
    const std::string
        strBegin = "vxpd: Get a request. ID=0xfdfd | vxpd: process request 0x00",
        strReply = "vxpd: sending reply(cnt=38)... | reply 38 | ", strDone = "vxpd: done. | ",
        strProbe =
            "vxpd: Get a request. ID=0xfdfd | pMsg->uOP_Code = 153 not support | vxpd: FUNC:_funcNotSupport... | "
            "vxpd: sending func not support... | reply 22";
    const auto logOf = [&](uint16_t uOperation, const Bytes &body, const Settings &store) {
        prepare(store);
        ask(request(uOperation, 1, CREDENTIALS + body));
        ask(request(0x99, 1));
        return noted("effects");
    };
    const std::string strRead = "get management static-ip | get management static-mask | ",
                      strReset = "vxpd: FUNC:funcFactoryResetWithoutIP... | ";
    EXPECT_EQ(logOf(0xAA, {}, {{"@reads", "management static-"}}),
              strBegin + "aa begin... | " + strRead + strReset + strReply + strRead + strReset +
                  "set system factory-reset=yes | " + strDone + strProbe);
    const std::string strAdvanced = "vxpd: FUNC:funcSetNetAdvSettings... | ";
    EXPECT_EQ(logOf(0xA7, zeros(129) + hex("f1 f2"), {}), strBegin + "a7 begin... | " + strAdvanced +
                                                              "vxpd: bodylen=0 | vxpd: 242, 241 | " + strReply +
                                                              strAdvanced + strDone + strProbe);
}

} // namespace
