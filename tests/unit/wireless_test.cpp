// SPDX-License-Identifier: Apache-2.0
#include "fake_store.h"

#include "sys/wireless.h"

using Wireless = StoreTest;

// The bands that no request asks for, and the calls that do nothing.
TEST_F(Wireless, MapsBandsAndNetworksToTheStore)
{
    constexpr int G2 = BAND_2G, G5 = BAND_5G, NONE = BAND_OTHER;
    char strOut[16];
    uint8_t ucBand;
    const auto setKey = [](int iBand) { return [iBand] { return sysSetSecurityPWD("key", 0, iBand); }; };
    const auto set = [](const char *str, int iBand) { return [=] { return sysSetSecuritySetting(str, 2, iBand); }; };
    const auto getSetting = [&] { return sysGetSecuritySetting(strOut, 0, G5); };
    const std::string strGet = "get interface/wlan0 security; ", strBSS = "get bss/wlan0bssvap0 ",
                      strSetBSS = "set bss/wlan1bssvap2 ";
    const struct {
        const char *strSecurity; // of both primary networks
        std::function<int()> call;
        std::string strLog;
    } cases[] = {
        {"", [] { return sysSetSSID("guest", 3, G2); }, "set interface/wlan1vap3 ssid=guest; "},
        {"", [] { return sysSetSSID("guest", 0, G5); }, "set interface/wlan0 ssid=guest; "},
        {"", [] { return sysSetSSID("", 0, G5); }, ""},
        {"", [] { return sysSetSSID("guest", 0, NONE); }, ""},
        {"", [&] { return sysGetSSID(strOut, 0, -1); }, ""},
        {"", [] { return sysSetVLANID("12", 7, G2); }, "set vap/vap7 vlan-id radio=wlan1=12; "},
        {"", [] { return sysSetVLANID("", 7, G2); }, ""},
        {"", [] { return sysSetVLANID("12", 7, NONE); }, ""},
        {"", [&] { return sysGetVLANID(strOut, 0, G5); }, "get vap/vap0 vlan-id radio=wlan0; "},
        {"", [] { return sysSetBandSetting(G2); }, "set radio/wlan1 status=up; "},
        {"", [] { return sysSetBandSetting(NONE); }, ""},
        {"", [&] { return sysGetBandSetting(&ucBand, NONE); }, ""},
        {"", set("4", G2),
         "set interface/wlan1vap2 security=wpa-personal; " + strSetBSS + "wpa-allowed=off; " + strSetBSS +
             "wpa2-allowed=on; "},
        {"wpa-personal", setKey(G2), "get interface/wlan1 security; set interface/wlan1 wpa-personal-key=key; "},
        {"wpa-enterprise", setKey(G5), strGet},
        {"wpa-personal", getSetting, strGet + strBSS + "wpa-allowed; " + strBSS + "wpa2-allowed; "},
        {"static-wep", getSetting, strGet},
    };
    for (const auto &c : cases) {
        g_fakeStore = {};
        g_fakeStore.values = {{"interface/wlan0 security", c.strSecurity}, {"interface/wlan1 security", c.strSecurity}};
        EXPECT_EQ(c.call(), 0);
        EXPECT_EQ(g_fakeStore.takeLog(), c.strLog);
    }
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
