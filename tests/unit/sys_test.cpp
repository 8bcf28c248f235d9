// SPDX-License-Identifier: Apache-2.0
//
// The settings as far as replies and announcements do not show them: results, indexes, what is written.
#include "fake_store.h"

#include "sys/lsqldb.h"
#include "sys/settings.h"

#include <cstring>

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace
{

using Store = StoreTest;
using Settings = StoreTest;

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
    const struct {
        const char *strMode; // IPv6 mode in the store
        std::function<int()> setter;
        int iResult;
        std::string strLog;
    } cases[] = {
        {"", [] { return sysSetIP(1, IP); }, 1, ""},
        {"", [] { return sysSetSubnetMask(2, IP); }, 2, ""},
        {"", [] { return sysSetDefaultGateway(-3, IP); }, -3, ""},
        {"", [] { return sysSetDNS_Setting(2); }, 0, ""},
        {"", [] { return sysSetDHCP_Setting(1, 0), 0; }, 0, ""},
        {"", [] { return sysSetIP6_Mode(0, 3); }, 0, "set " + strMode + "=down; "},
        {"up", [] { return sysSetIP6_Prefix(0, 64); }, -1, strGet},
        {"down", [] { return sysSetIP6_Prefix(0, 300); }, 0, strGet + "set management static-ipv6-prefix-length=44; "},
        {"", [] { return sysSetIP6(0, DOC1); }, -1, strGet},
        {"up", [] { return sysSetDefaultGateway6(0, DOC1); }, -1, strGet},
    };
    for (const auto &c : cases) {
        g_fakeStore = {};
        g_fakeStore.values = {{strMode, c.strMode}};
        EXPECT_EQ(c.setter(), c.iResult);
        EXPECT_EQ(g_fakeStore.takeLog(), c.strLog);
    }
    // Only these three tell that the store refused.
    CaptureStdout();
    g_fakeStore.values = {{strMode, "down"}};
    g_fakeStore.error = "refused";
    EXPECT_EQ(sysSetIP(0, IP) + sysSetSubnetMask(0, IP) + sysSetDefaultGateway(0, IP), 3 * 7);
    EXPECT_EQ(sysSetPrimaryDNS(IP) | sysSetIP6(0, DOC1) | sysSetSystemName("x"), 0);
    GetCapturedStdout();
}

TEST_F(Settings, NamesAreCutAndOfOneInterface)
{
    char strName[16] = "before";
    EXPECT_EQ(sysGetInterfaceName(0, strName), -1);
    g_fakeStore.values = {{"management interface", "brtrunk"}, {"system system-name", std::string(90, 'n')}};
    EXPECT_EQ(sysGetInterfaceName(1, strName), -1);
    EXPECT_EQ(sysGetInterfaceName(0, strName), 0);
    EXPECT_STREQ(strName, "brtrunk");
    EXPECT_EQ(sysGetSystemName(strName), 0);
    EXPECT_EQ(strlen(strName), 15u);
    EXPECT_EQ(sysGetDDNS_ProviderList(strName), 0);
    EXPECT_STREQ(strName, "");
    char strAlias[8] = "before!";
    EXPECT_EQ(sysGetInterfaceAlias(1, strAlias), -1);
    EXPECT_EQ(std::string(strAlias, 8), std::string(8, '\0'));
}
