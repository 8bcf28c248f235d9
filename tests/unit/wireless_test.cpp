// SPDX-License-Identifier: Apache-2.0
#include "fake_store.h"

#include "sys/wireless.h"

using Wireless = StoreTest;

TEST_F(Wireless, MapsBandsAndNetworksToTheStore)
{
    using Log = std::vector<std::string>;
    constexpr int G2 = BAND_2G, G5 = BAND_5G, NONE = BAND_OTHER;
    char strOut[16];
    uint8_t ucBand;
    struct Case {
        const char *strWhat, *strSecurity; // of both primary networks
        std::function<int()> call;
        Log log;
    };
    const auto setKey = [](int iBand) { return [iBand] { return sysSetSecurityPWD("key", 0, iBand); }; };
    const auto set = [](const char *str, int iVAP, int iBand) {
        return [=] { return sysSetSecuritySetting(str, iVAP, iBand); };
    };
    const auto getSetting = [&] { return sysGetSecuritySetting(strOut, 0, G5); };
    const auto security = [](const std::string &strInterface, const char *strMode) {
        return "set interface/" + strInterface + " security=" + strMode;
    };
    const std::string strGet = "get interface/wlan0 security", strGet1 = "get interface/wlan1 security";
    const std::string strGetDefault = "get interface/wlan0 wep-default-key", strSet0 = "set interface/wlan0 ";
    const std::string strBSS = "set bss/wlan1bssvap2 wpa", strBSS0 = "set bss/wlan0bssvap0 wpa";
    const Log wpa = {strGet, "get bss/wlan0bssvap0 wpa-allowed", "get bss/wlan0bssvap0 wpa2-allowed"};
    const Case cases[] = {
        {"SSID", "", [] { return sysSetSSID("guest", 3, G2); }, {"set interface/wlan1vap3 ssid=guest"}},
        {"primary SSID", "", [] { return sysSetSSID("guest", 0, G5); }, {strSet0 + "ssid=guest"}},
        {"empty SSID", "", [] { return sysSetSSID("", 0, G5); }, {}},
        {"SSID of no band", "", [] { return sysSetSSID("guest", 0, NONE); }, {}},
        {"get SSID of no band", "", [&] { return sysGetSSID(strOut, 0, -1); }, {}},
        {"VLAN", "", [] { return sysSetVLANID("12", 7, G2); }, {"set vap/vap7 vlan-id radio=wlan1=12"}},
        {"empty VLAN", "", [] { return sysSetVLANID("", 7, G2); }, {}},
        {"VLAN of no band", "", [] { return sysSetVLANID("12", 7, NONE); }, {}},
        {"get VLAN", "", [&] { return sysGetVLANID(strOut, 0, G5); }, {"get vap/vap0 vlan-id radio=wlan0"}},
        {"radio on", "", [] { return sysSetBandSetting(G2); }, {"set radio/wlan1 status=up"}},
        {"no radio", "", [] { return sysSetBandSetting(NONE); }, {}},
        {"get band", "", [&] { return sysGetBandSetting(&ucBand, NONE); }, {}},
        {"WPA2",
         "",
         set("4", 2, G2),
         {security("wlan1vap2", "wpa-personal"), strBSS + "-allowed=off", strBSS + "2-allowed=on"}},
        {"WPA",
         "",
         set("3", 0, G5),
         {security("wlan0", "wpa-enterprise"), strBSS0 + "-allowed=on", strBSS0 + "2-allowed=off"}},
        {"WEP, no band is wlan0", "", set("1", 1, NONE), {security("wlan0vap1", "static-wep")}},
        {"open", "", set("6", 0, G2), {security("wlan1", "plain-text")}},
        {"setting 0", "", set("0", 0, G2), {}},
        {"setting 7", "", set("7", 0, G2), {}},
        {"setting -1", "", set("-1", 0, G2), {}},
        {"no number", "", set("wpa", 0, G2), {}},
        {"WPA key", "wpa-personal", setKey(G2), {strGet1, "set interface/wlan1 wpa-personal-key=key"}},
        {"WEP key, no band is wlan0", "static-wep", setKey(NONE), {strGet, strGetDefault, strSet0 + "wep-key-3=key"}},
        {"enterprise has no key", "wpa-enterprise", setKey(G5), {strGet}},
        {"get setting", "wpa-personal", getSetting, wpa},
        {"get setting, WEP", "static-wep", getSetting, {strGet}},
    };
    for (const Case &c : cases) {
        g_fakeStore = {};
        g_fakeStore.values = {{"interface/wlan0 security", c.strSecurity},
                              {"interface/wlan1 security", c.strSecurity},
                              {"interface/wlan0 wep-default-key", "3"}};
        EXPECT_EQ(c.call(), 0);
        EXPECT_EQ(g_fakeStore.takeLog(), c.log) << c.strWhat;
    }
    g_fakeStore.values = {{"interface/wlan0 security", "static-wep"}};
    sysSetSecurityPWD("key", 0, 9);
    EXPECT_EQ(g_fakeStore.takeLog(), (Log{strGet, strGetDefault, strSet0 + "wep-key-=key"})) << "no default key";
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
    const auto band = [](int iBand) {
        uint8_t ucBand = 9;
        EXPECT_EQ(sysGetBandSetting(&ucBand, iBand), 0);
        return ucBand;
    };
    EXPECT_THAT((std::vector{band(BAND_2G), band(BAND_5G), band(BAND_OTHER)}), testing::ElementsAre(0, 1, 9));
    g_fakeStore.values["radio/wlan1 mode"] = "n-only-a";
    EXPECT_EQ(band(BAND_2G), 9);
}
