// SPDX-License-Identifier: Apache-2.0
//
// The settings as far as replies and announcements do not show them: results, indexes, what is written.
#include "fake_store.h"

#include "sys/lsqldb.h"
#include "sys/settings.h"
#include "sys/wireless.h"

#include <cstring>

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace
{

using Store = StoreTest;
using Settings = StoreTest;
using Wireless = StoreTest;

constexpr uint8_t DOC1[16] = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};

} // namespace

TEST_F(Store, RowsAndResults)
{
    char strText[8] = "default";
    EXPECT_EQ(LSQLdbGetInstanceStr("interface", "wlan0", "ssid", strText), 1);
    EXPECT_STREQ(strText, "default");
    EXPECT_EQ(LSQLdbSetInstanceStrQ1("vap", "vap1", "vlan-id", "radio", "wlan1", "7"), 0);
    EXPECT_EQ(LSQLdbGetInstanceStrQ1("vap", "vap1", "vlan-id", "radio", "wlan1", strText), 1);
    EXPECT_STREQ(strText, "7");
    EXPECT_EQ(LSQLdbReboot() | LSQLdbFactoryReset() | LSQLdbSaveRunning(), 0);
    g_fakeStore.error = "the store is %s full";
    CaptureStdout();
    EXPECT_EQ(LSQLdbSetInstanceStr("bss", "wlan0", "wpa-allowed", "on"), 7);
    EXPECT_EQ(GetCapturedStdout(), "Error occurred on set: the store is %s full\n");
}

TEST_F(Settings, ResultsOfGettersWithoutAValue)
{
    enum { UNTOUCHED = 0xEE, CLEARED = 0 };
    const auto expectAs = [](int iResult, uint8_t ucLeft, const std::function<int(std::span<uint8_t>)> &getter) {
        std::vector<uint8_t> octets(16, UNTOUCHED);
        EXPECT_EQ(getter(octets), iResult);
        EXPECT_THAT(octets, testing::Each(ucLeft));
    };
    g_fakeStore.values = {{"management ip", "169.253.3.4"}, {"management dhcp-status", "up"}};
    expectAs(-1, CLEARED, [](auto out) { return sysGetIP(1, out); });
    expectAs(-1, CLEARED, [](auto out) { return sysGetMAC(0, out); });
    expectAs(-1, UNTOUCHED, [](auto out) { return sysGetSubnetMask(0, out); });
    expectAs(-1, UNTOUCHED, [](auto out) { return sysGetDefaultGateway(0, out); });
    expectAs(-1, UNTOUCHED, [](auto out) { return sysGetSecondaryDNS(out); });
    expectAs(0, UNTOUCHED, [](auto out) { return sysGetIP6(0, out); });
    expectAs(0, UNTOUCHED, [](auto out) { return sysGetDefaultGateway6(0, out); });
    EXPECT_EQ(sysGetDHCP_Setting(0), 1);
    EXPECT_EQ(sysGetDHCP_Setting(1), -1);
    EXPECT_EQ(sysGetDHCP_State(0), 0) << "hardly link-local";
    g_fakeStore.values = {{"management ip", ""}, {"management ipv6-status", "up"}};
    expectAs(-1, UNTOUCHED, [](auto out) { return sysGetIP6(0, out); });
    expectAs(0, CLEARED, [](auto out) { return sysGetIP(0, out); });
}

// What no request can ask for, or does not see: other indexes and modes, results, and the guards of the IPv6 values.
TEST_F(Settings, SettersBeyondRequests)
{
    static constexpr uint8_t IP[4] = {10, 0, 200, 255};
    const std::string strMode = "management ipv6-autoconfig-status", strGet = "get " + strMode + "; ";
    const auto expectLog = [&](const char *strStored, int iResult, const std::string &strLog, auto setter) {
        g_fakeStore = {};
        g_fakeStore.values = {{strMode, strStored}};
        EXPECT_EQ(setter(), iResult);
        EXPECT_EQ(g_fakeStore.takeLog(), strLog);
    };
    expectLog("", 1, "", [] { return sysSetIP(1, IP); });
    expectLog("", 2, "", [] { return sysSetSubnetMask(2, IP); });
    expectLog("", -3, "", [] { return sysSetDefaultGateway(-3, IP); });
    expectLog("", 0, "", [] { return sysSetDNS_Setting(2); });
    expectLog("", 0, "", [] { return sysSetDHCP_Setting(1, 0), 0; });
    expectLog("", 0, "set " + strMode + "=down; ", [] { return sysSetIP6_Mode(0, 3); });
    expectLog("up", -1, strGet, [] { return sysSetIP6_Prefix(0, 64); });
    expectLog("down", 0, strGet + "set management static-ipv6-prefix-length=44; ",
              [] { return sysSetIP6_Prefix(0, 300); });
    expectLog("", -1, strGet, [] { return sysSetIP6(0, DOC1); });
    expectLog("up", -1, strGet, [] { return sysSetDefaultGateway6(0, DOC1); });
    // Only these three tell that the store refused.
    CaptureStdout();
    g_fakeStore.values = {{strMode, "down"}};
    g_fakeStore.error = "refused";
    EXPECT_EQ(sysSetIP(0, IP) + sysSetSubnetMask(0, IP) + sysSetDefaultGateway(0, IP), 3 * 7);
    EXPECT_EQ(sysSetPrimaryDNS(IP) | sysSetIP6(0, DOC1) | sysSetSystemName("x"), 0);
    GetCapturedStdout();
}

TEST_F(Settings, NamesAreOfOneInterface)
{
    char strName[16] = "before", strAlias[8] = "before!";
    g_fakeStore.values = {{"management interface", "brtrunk"}};
    EXPECT_EQ(sysGetInterfaceName(1, strName), -1);
    EXPECT_STREQ(strName, "");
    EXPECT_EQ(sysGetSystemName(strName) | sysGetDDNS_ProviderList(strName), 0);
    EXPECT_EQ(sysGetInterfaceAlias(1, strAlias), -1);
    EXPECT_EQ(std::string(strAlias, 8), std::string(8, '\0'));
}

// The bands that no request asks for, and the calls that do nothing.
TEST_F(Wireless, MapsBandsAndNetworksToTheStore)
{
    char strOut[16];
    const auto expectLog = [](const char *strSecurity, const std::string &strLog, auto call) { // of both radios
        g_fakeStore = {};
        g_fakeStore.values = {{"interface/wlan0 security", strSecurity}, {"interface/wlan1 security", strSecurity}};
        EXPECT_EQ(call(), 0);
        EXPECT_EQ(g_fakeStore.takeLog(), strLog);
    };
    expectLog("", "set interface/wlan1vap3 ssid=guest; ", [] { return sysSetSSID("guest", 3, BAND_2G); });
    expectLog("", "set interface/wlan0 ssid=guest; ", [] { return sysSetSSID("guest", 0, BAND_5G); });
    expectLog("", "", [] { return sysSetSSID("", 0, BAND_5G); });
    expectLog("", "set vap/vap7 vlan-id radio=wlan1=12; ", [] { return sysSetVLANID("12", 7, BAND_2G); });
    expectLog("", "", [] { return sysSetVLANID("", 7, BAND_2G); });
    expectLog("", "get vap/vap0 vlan-id radio=wlan0; ", [&] { return sysGetVLANID(strOut, 0, BAND_5G); });
    expectLog("", "set radio/wlan1 status=up; ", [] { return sysSetBandSetting(BAND_2G); });
    expectLog("",
              "set interface/wlan1vap2 security=wpa-personal; set bss/wlan1bssvap2 wpa-allowed=off; "
              "set bss/wlan1bssvap2 wpa2-allowed=on; ",
              [] { return sysSetSecuritySetting("4", 2, BAND_2G); });
    expectLog("wpa-personal", "get interface/wlan1 security; set interface/wlan1 wpa-personal-key=key; ",
              [] { return sysSetSecurityPWD("key", 0, BAND_2G); });
    const auto getSetting = [&] { return sysGetSecuritySetting(strOut, 0, BAND_5G); };
    expectLog("wpa-personal",
              "get interface/wlan0 security; get bss/wlan0bssvap0 wpa-allowed; get bss/wlan0bssvap0 wpa2-allowed; ",
              getSetting);
    expectLog("static-wep", "get interface/wlan0 security; ", getSetting);
}

TEST_F(Wireless, GettersLeaveDefaultsAlone)
{
    char strSetting[4] = "set";
    g_fakeStore.values = {{"interface/wlan0vap1 security", "wpa-personal"},
                          {"bss/wlan0bssvap1 wpa-allowed", "on"},
                          {"radio/wlan1 mode", "bg-n"},
                          {"radio/wlan0 mode", "n-only-a"}};
    EXPECT_EQ(sysGetSecuritySetting(strSetting, 1, BAND_5G), 0);
    EXPECT_STREQ(strSetting, "set");
    const auto band = [](int iBand) {
        uint8_t ucBand = 9;
        EXPECT_EQ(sysGetBandSetting(&ucBand, iBand), 0);
        return ucBand;
    };
    EXPECT_THAT((std::vector{band(BAND_2G), band(BAND_5G), band(BAND_OTHER)}), testing::ElementsAre(0, 1, 9));
    g_fakeStore.values["radio/wlan1 mode"] = "n-only-a";
    EXPECT_EQ(band(BAND_2G), 9);
}
