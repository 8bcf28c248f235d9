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

constexpr uint8_t ZERO[16] = {}, DOC1[16] = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};

} // namespace

TEST_F(Store, RowsAndResults)
{
    g_fakeStore.values = {{"system version", std::string(100, 'v')}, {"vap/vap1 vlan-id radio=wlan0", "12"}};
    char strText[8] = "default";
    EXPECT_EQ(LSQLdbGetInstanceStr("interface", "wlan0", "ssid", strText), 1);
    EXPECT_STREQ(strText, "default");
    EXPECT_EQ(LSQLdbGetStr("system", "version", strText), 1);
    EXPECT_STREQ(strText, "vvvvvvv");
    EXPECT_EQ(LSQLdbGetInstanceStrQ1("vap", "vap1", "vlan-id", "radio", "wlan0", strText), 1);
    EXPECT_STREQ(strText, "12");
    EXPECT_EQ(LSQLdbSetInstanceStrQ1("vap", "vap1", "vlan-id", "radio", "wlan1", "7"), 0);
    EXPECT_EQ(LSQLdbReboot() | LSQLdbFactoryReset() | LSQLdbSaveRunning(), 0);
    g_fakeStore.error = "the store is %s full";
    CaptureStdout();
    EXPECT_EQ(LSQLdbSetInstanceStr("bss", "wlan0", "wpa-allowed", "on"), 7);
    EXPECT_EQ(GetCapturedStdout(), "Error occurred on set: the store is %s full\n");
}

TEST_F(Settings, ResultsOfGettersWithoutAValue)
{
    using Out = std::span<uint8_t>;
    enum { UNTOUCHED = 0xEE, CLEARED = 0 };
    struct Case {
        const char *strWhat;
        std::function<int(Out)> getter;
        int iResult;
        uint8_t ucLeft;
    };
    g_fakeStore.values = {{"management ip", "169.253.3.4"}, {"management dhcp-status", "up"}};
    const Case cases[] = {
        {"IP of another interface", [](Out out) { return sysGetIP(1, out); }, -1, CLEARED},
        {"MAC", [](Out out) { return sysGetMAC(0, out); }, -1, CLEARED},
        {"mask", [](Out out) { return sysGetSubnetMask(0, out); }, -1, UNTOUCHED},
        {"gateway", [](Out out) { return sysGetDefaultGateway(0, out); }, -1, UNTOUCHED},
        {"DNS server", [](Out out) { return sysGetSecondaryDNS(out); }, -1, UNTOUCHED},
        {"IPv6, off", [](Out out) { return sysGetIP6(0, out); }, 0, UNTOUCHED},
        {"IPv6 gateway, off", [](Out out) { return sysGetDefaultGateway6(0, out); }, 0, UNTOUCHED},
        {"DHCP of this interface", [](Out) { return sysGetDHCP_Setting(0); }, 1, UNTOUCHED},
        {"DHCP of another", [](Out) { return sysGetDHCP_Setting(1); }, -1, UNTOUCHED},
        {"hardly link-local", [](Out) { return sysGetDHCP_State(0); }, 0, UNTOUCHED},
    };
    const auto expectAs = [](const Case &c) {
        std::vector<uint8_t> octets(16, UNTOUCHED);
        EXPECT_EQ(c.getter(octets), c.iResult) << c.strWhat;
        EXPECT_THAT(octets, testing::Each(c.ucLeft)) << c.strWhat;
    };
    for (const Case &c : cases)
        expectAs(c);
    g_fakeStore.values["management ipv6-status"] = "up";
    expectAs({"IPv6", [](Out out) { return sysGetIP6(0, out); }, -1, UNTOUCHED});
    g_fakeStore.values = {{"management ip", ""}};
    expectAs({"IP", [](Out out) { return sysGetIP(0, out); }, 0, CLEARED});
}

// Reply fields stand where they stand; some processors fault on words at odd addresses.
TEST_F(Settings, FillFieldsAtAnyAddress)
{
    g_fakeStore.values = {{"management ip", "1.2.3.4"},      {"management mask", "1.2.3.4"},
                          {"ip-route gateway", "1.2.3.4"},   {"host dns-1", "1.2.3.4"},
                          {"management mac", "1:2:3:4:5:6"}, {"management ipv6-status", "up"}};
    g_fakeStore.values["management static-ipv6"] = "102:304:506:708:90a:b0c:d0e:f10";
    for (size_t uAt = 0; uAt < 4; uAt++) {
        alignas(4) uint8_t ucRoom[4 + 16];
        const auto expectFilled = [&](auto getter, size_t uSize) {
            const std::span<uint8_t> out(ucRoom + uAt, uSize);
            getter(out);
            for (size_t i = 0; i < uSize; i++)
                EXPECT_EQ(out[i], i + 1) << "of " << uSize << " at " << uAt;
        };
        expectFilled([](auto out) { sysGetIP(0, out); }, 4);
        expectFilled([](auto out) { sysGetSubnetMask(0, out); }, 4);
        expectFilled([](auto out) { sysGetDefaultGateway(0, out); }, 4);
        expectFilled([](auto out) { sysGetPrimaryDNS(out); }, 4);
        expectFilled([](auto out) { sysGetMAC(0, out); }, 6);
        expectFilled([](auto out) { sysGetIP6(0, out); }, 16);
    }
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
        {"", [] { return sysSetIP(0, IP); }, 0, "set management static-ip=10.0.200.255; "},
        {"", [] { return sysSetIP(1, IP); }, 1, ""},
        {"", [] { return sysSetSubnetMask(2, IP); }, 2, ""},
        {"", [] { return sysSetDefaultGateway(-3, IP); }, -3, ""},
        {"", [] { return sysSetDNS_Setting(2); }, 0, ""},
        {"", [] { return sysSetDHCP_Setting(1, 0), 0; }, 0, ""},
        {"", [] { return sysSetIP6_Mode(0, 3); }, 0, "set " + strMode + "=down; "},
        {"up", [] { return sysSetIP6_Prefix(0, 64); }, -1, strGet},
        {"down", [] { return sysSetIP6_Prefix(0, 300); }, 0, strGet + "set management static-ipv6-prefix-length=44; "},
        {"", [] { return sysSetIP6(0, DOC1); }, -1, strGet},
        {"down", [] { return sysSetIP6(0, ZERO); }, -1, strGet},
        {"down", [] { return sysSetIP6(0, DOC1); }, 0, strGet + "set management static-ipv6=2001:db8::1; "},
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

TEST_F(Settings, DateIsFourteenDigitsAndFitsOrAborts)
{
    char strDate[16] = "before";
    ASSERT_EQ(sysGetDatetime(strDate), 0);
    EXPECT_THAT(strDate, testing::MatchesRegex("20[0-9]{12}"));
    EXPECT_DEATH(sysGetDatetime(std::span(strDate).first(14)),
                 "sys:[0-9]+: sysGetDatetime: Assertion \"buf_len>strlen\\(str\\)\" failed");
}
