// SPDX-License-Identifier: Apache-2.0
#include "fake_store.h"

#include "sys/wireless.h"

#include <gmock/gmock.h>

#include <functional>

class Wireless : public StoreTest
{
};

TEST_F(Wireless, MapsBandsAndNetworksToTheStore)
{
    using Log = std::vector<std::string>;
    using Values = std::map<std::string, std::string>;
    char strOut[16];
    uint8_t ucBand;
    struct Case {
        const char *strWhat;
        Values values;
        std::function<int()> call;
        Log log;
    };
    const auto setKey = [](int iBand) { return [iBand] { return sysSetSecurityPWD("key", 0, iBand); }; };
    const auto setting = [](const char *str, int iVAP, int iBand) {
        return [=] { return sysSetSecuritySetting(str, iVAP, iBand); };
    };
    for (const Case &c : {
             Case{"SSID", {}, [] { return sysSetSSID("guest", 3, BAND_2G); }, {"set interface/wlan1vap3 ssid=guest"}},
             Case{"SSID of the primary network",
                  {},
                  [] { return sysSetSSID("guest", 0, BAND_5G); },
                  {"set interface/wlan0 ssid=guest"}},
             Case{"empty SSID", {}, [] { return sysSetSSID("", 0, BAND_5G); }, {}},
             Case{"SSID of no band", {}, [] { return sysSetSSID("guest", 0, BAND_OTHER); }, {}},
             Case{"get SSID of no band", {}, [&] { return sysGetSSID(strOut, 0, -1); }, {}},
             Case{"VLAN", {}, [] { return sysSetVLANID("12", 7, BAND_2G); }, {"set vap/vap7 vlan-id radio=wlan1=12"}},
             Case{"empty VLAN", {}, [] { return sysSetVLANID("", 7, BAND_2G); }, {}},
             Case{"VLAN of no band", {}, [] { return sysSetVLANID("12", 7, BAND_OTHER); }, {}},
             Case{"get VLAN",
                  {},
                  [&] { return sysGetVLANID(strOut, 0, BAND_5G); },
                  {"get vap/vap0 vlan-id radio=wlan0"}},
             Case{"radio on", {}, [] { return sysSetBandSetting(BAND_2G); }, {"set radio/wlan1 status=up"}},
             Case{"no radio", {}, [] { return sysSetBandSetting(BAND_OTHER); }, {}},
             Case{"get band", {}, [&] { return sysGetBandSetting(&ucBand, BAND_OTHER); }, {}},
             Case{"WPA2 personal",
                  {},
                  setting("4", 2, BAND_2G),
                  {"set interface/wlan1vap2 security=wpa-personal", "set bss/wlan1bssvap2 wpa-allowed=off",
                   "set bss/wlan1bssvap2 wpa2-allowed=on"}},
             Case{"WPA enterprise",
                  {},
                  setting("3", 0, BAND_5G),
                  {"set interface/wlan0 security=wpa-enterprise", "set bss/wlan0bssvap0 wpa-allowed=on",
                   "set bss/wlan0bssvap0 wpa2-allowed=off"}},
             Case{"WEP, no band is wlan0",
                  {},
                  setting("1", 1, BAND_OTHER),
                  {"set interface/wlan0vap1 security=static-wep"}},
             Case{"open", {}, setting("6", 0, BAND_2G), {"set interface/wlan1 security=plain-text"}},
             Case{"setting 0", {}, setting("0", 0, BAND_2G), {}},
             Case{"setting 7", {}, setting("7", 0, BAND_2G), {}},
             Case{"setting -1", {}, setting("-1", 0, BAND_2G), {}},
             Case{"no number", {}, setting("wpa", 0, BAND_2G), {}},
             Case{"WPA key",
                  {{"interface/wlan1 security", "wpa-personal"}},
                  setKey(BAND_2G),
                  {"get interface/wlan1 security", "set interface/wlan1 wpa-personal-key=key"}},
             Case{"WEP key, no band is wlan0",
                  {{"interface/wlan0 security", "static-wep"}, {"interface/wlan0 wep-default-key", "3"}},
                  setKey(BAND_OTHER),
                  {"get interface/wlan0 security", "get interface/wlan0 wep-default-key",
                   "set interface/wlan0 wep-key-3=key"}},
             Case{"WEP key without default",
                  {{"interface/wlan0 security", "static-wep"}},
                  setKey(9),
                  {"get interface/wlan0 security", "get interface/wlan0 wep-default-key",
                   "set interface/wlan0 wep-key-=key"}},
             Case{"enterprise has no key",
                  {{"interface/wlan0 security", "wpa-enterprise"}},
                  setKey(BAND_5G),
                  {"get interface/wlan0 security"}},
             Case{"get setting",
                  {{"interface/wlan0 security", "wpa-personal"}},
                  [&] { return sysGetSecuritySetting(strOut, 0, BAND_5G); },
                  {"get interface/wlan0 security", "get bss/wlan0bssvap0 wpa-allowed",
                   "get bss/wlan0bssvap0 wpa2-allowed"}},
             Case{"get setting, WEP",
                  {{"interface/wlan0 security", "static-wep"}},
                  [&] { return sysGetSecuritySetting(strOut, 0, BAND_5G); },
                  {"get interface/wlan0 security"}},
         }) {
        g_fakeStore = {};
        g_fakeStore.values = c.values;
        EXPECT_EQ(c.call(), 0);
        EXPECT_EQ(g_fakeStore.takeLog(), c.log) << c.strWhat;
    }
}

TEST_F(Wireless, GettersLeaveDefaultsAlone)
{
    char strKey[16] = "preset", strSetting[4] = "set";
    g_fakeStore.values = {{"interface/wlan0vap1 security", "wpa-personal"},
                          {"interface/wlan0vap1 wpa-personal-key", std::string(40, 'k')},
                          {"bss/wlan0bssvap1 wpa-allowed", "on"},
                          {"radio/wlan1 mode", "bg-n"},
                          {"radio/wlan0 mode", "n-only-a"}};
    EXPECT_EQ(sysGetSecurityPWD(strKey, 0, BAND_5G), 0);
    EXPECT_STREQ(strKey, "preset");
    EXPECT_EQ(sysGetSecurityPWD(strKey, 1, BAND_5G), 0);
    EXPECT_STREQ(strKey, "kkkkkkkkkkkkkkk");
    EXPECT_EQ(sysGetSecuritySetting(strSetting, 1, BAND_5G), 0);
    EXPECT_STREQ(strSetting, "set");
    for (const auto &[iBand, ucExpected] : {std::pair{0, 0}, {1, 1}, {2, 9}}) {
        uint8_t ucBand = 9;
        EXPECT_EQ(sysGetBandSetting(&ucBand, iBand), 0);
        EXPECT_EQ(ucBand, ucExpected);
    }
    g_fakeStore.values["radio/wlan1 mode"] = "n-only-a";
    uint8_t ucBand = 9;
    sysGetBandSetting(&ucBand, BAND_2G);
    EXPECT_EQ(ucBand, 9);
}
