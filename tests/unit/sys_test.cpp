// SPDX-License-Identifier: Apache-2.0
#include "fake_store.h"

#include "sys/lsqldb.h"
#include "sys/settings.h"

#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <functional>

using testing::ElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace
{

using Values = std::map<std::string, std::string>;
using Octets = std::vector<uint8_t>;

// What a getter leaves in a buffer of 0xEE bytes, and its result.
struct Read {
    int iResult;
    Octets octets;

    bool operator==(const Read &) const = default;
};

void PrintTo(const Read &read, std::ostream *pOut)
{
    *pOut << read.iResult << " and " << testing::PrintToString(read.octets);
}

Read readInto(size_t uSize, const std::function<int(std::span<uint8_t>)> &getter)
{
    Octets octets(uSize, 0xEE);
    const int iResult = getter(octets);
    return {iResult, octets};
}

const Octets UNTOUCHED4(4, 0xEE), UNTOUCHED16(16, 0xEE), ZERO16(16, 0);
const Octets DOC1 = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};

} // namespace

class Store : public StoreTest
{
};
class Settings : public StoreTest
{
};

TEST_F(Store, GettersCutAndLeaveDefaultsAlone)
{
    g_fakeStore.values = {{"system version", std::string(100, 'v')},
                          {"interface/wlan0 ssid", "guest"},
                          {"vap/vap1 vlan-id radio=wlan0", "12"}};
    char strText[8] = "default";
    EXPECT_EQ(LSQLdbGetStr("system", "model", strText), 1);
    EXPECT_STREQ(strText, "default");
    EXPECT_EQ(LSQLdbGetStr("system", "version", strText), 1);
    EXPECT_STREQ(strText, "vvvvvvv");
    EXPECT_EQ(LSQLdbGetInstanceStr("interface", "wlan0", "ssid", strText), 1);
    EXPECT_STREQ(strText, "guest");
    EXPECT_EQ(LSQLdbGetInstanceStrQ1("vap", "vap1", "vlan-id", "radio", "wlan0", strText), 1);
    EXPECT_STREQ(strText, "12");
}

TEST_F(Store, SettersReportTheLibrarysResultAndReason)
{
    EXPECT_EQ(LSQLdbSetInstanceStrQ1("vap", "vap1", "vlan-id", "radio", "wlan1", "7"), 0);
    EXPECT_EQ(LSQLdbReboot() | LSQLdbFactoryReset() | LSQLdbSaveRunning(), 0);
    EXPECT_THAT(g_fakeStore.takeLog(), ElementsAre("set vap/vap1 vlan-id radio=wlan1=7", "set system reboot=yes",
                                                   "set system factory-reset=yes", "set config startup=running"));
    g_fakeStore.error = "the store is %s full";
    CaptureStdout();
    EXPECT_EQ(LSQLdbSetInstanceStr("bss", "wlan0", "wpa-allowed", "on"), 7);
    EXPECT_EQ(GetCapturedStdout(), "Error occurred on set: the store is %s full\n");
}

TEST_F(Settings, GettersOfAddresses)
{
    const auto dns1 = [](auto out) { return sysGetPrimaryDNS(out); };
    const auto dns2 = [](auto out) { return sysGetSecondaryDNS(out); };
    const auto ip = [](auto out) { return sysGetIP(0, out); };
    const auto mask = [](auto out) { return sysGetSubnetMask(0, out); };
    const auto gateway = [](auto out) { return sysGetDefaultGateway(0, out); };
    const auto mac = [](auto out) { return sysGetMAC(0, out); };
    const auto ip6 = [](auto out) { return sysGetIP6(0, out); };
    const auto gateway6 = [](auto out) { return sysGetDefaultGateway6(0, out); };
    const std::string strUp6 = "management ipv6-status", strAuto6 = "management ipv6-autoconfig-status";
    struct Case {
        const char *strWhat;
        Values values;
        std::function<int(std::span<uint8_t>)> getter;
        Read expected;
    };
    for (const Case &c : {
             Case{"address", {{"management ip", "10.1.2.3"}}, ip, {0, {10, 1, 2, 3}}},
             Case{"no address is 0.0.0.0 and no failure", {}, ip, {0, {0, 0, 0, 0}}},
             Case{"address, cut at the malformed octet", {{"management ip", "1.2.x.4"}}, ip, {0, {1, 2, 0, 0}}},
             Case{"address, octets as scanf reads them", {{"management ip", "010.300.1.2"}}, ip, {0, {10, 44, 1, 2}}},
             Case{"address of 40 characters",
                  {{"management ip", std::string(36, ' ') + "1.2.3.4"}},
                  ip,
                  {0, {0, 0, 0, 0}}},
             Case{"address of another interface",
                  {{"management ip", "1.2.3.4"}},
                  [](auto out) { return sysGetIP(1, out); },
                  {-1, {0, 0, 0, 0}}},
             Case{"mask is read from management",
                  {{"management mask", "255.0.0.0"}, {"static-ip-route mask", "1.1.1.1"}},
                  mask,
                  {0, {255, 0, 0, 0}}},
             Case{"no mask", {}, mask, {-1, UNTOUCHED4}},
             Case{"gateway in force",
                  {{"ip-route gateway", "10.0.0.1"}, {"static-ip-route gateway", "1.1.1.1"}},
                  gateway,
                  {0, {10, 0, 0, 1}}},
             Case{"no gateway", {}, gateway, {-1, UNTOUCHED4}},
             Case{"DNS learnt by DHCP",
                  {{"host dns-via-dhcp", "up"}, {"host dns-1", "1.1.1.1"}, {"host static-dns-1", "2.2.2.2"}},
                  dns1,
                  {0, {1, 1, 1, 1}}},
             Case{"DNS static", {{"host dns-1", "1.1.1.1"}, {"host static-dns-1", "2.2.2.2"}}, dns1, {0, {2, 2, 2, 2}}},
             Case{"DNS mode is case-sensitive",
                  {{"host dns-via-dhcp", "UP"}, {"host dns-2", "1.1.1.1"}, {"host static-dns-2", "2.2.2.2"}},
                  dns2,
                  {0, {2, 2, 2, 2}}},
             Case{"no second DNS", {{"host dns-via-dhcp", "up"}}, dns2, {-1, UNTOUCHED4}},
             Case{"MAC", {{"management mac", "00:1F:a4:10:Fe:9"}}, mac, {0, {0, 0x1F, 0xA4, 0x10, 0xFE, 9, 0, 0}}},
             Case{"no MAC", {}, mac, {-1, Octets(8, 0)}},
             Case{"IPv6 off", {{"management static-ipv6", "2001:db8::1"}}, ip6, {0, UNTOUCHED16}},
             Case{"IPv6 static",
                  {{strUp6, "up"}, {strAuto6, "down"}, {"management static-ipv6", "2001:db8::1"}},
                  ip6,
                  {0, DOC1}},
             Case{"IPv6 automatic, first of two",
                  {{strUp6, "up"},
                   {strAuto6, "up"},
                   {"management autoconfig-ipv6-global-all", "2001:db8::1 2001:db8::2"}},
                  ip6,
                  {0, DOC1}},
             Case{"IPv6 up, no address", {{strUp6, "up"}}, ip6, {-1, UNTOUCHED16}},
             Case{"IPv6 unreadable", {{strUp6, "up"}, {"management static-ipv6", "fe80::x"}}, ip6, {0, ZERO16}},
             Case{"IPv6 gateway static",
                  {{strUp6, "up"},
                   {"static-ipv6-route gateway", "2001:db8::1"},
                   {"management ipv6-default-gateway", "::2"}},
                  gateway6,
                  {0, DOC1}},
             Case{"IPv6 gateway learnt",
                  {{strUp6, "up"}, {strAuto6, "up"}, {"management ipv6-default-gateway", "2001:db8::1"}},
                  gateway6,
                  {0, DOC1}},
             Case{"IPv6 gateway is not cut at blanks",
                  {{strUp6, "up"}, {"static-ipv6-route gateway", "2001:db8::1 x"}},
                  gateway6,
                  {0, ZERO16}},
         }) {
        g_fakeStore.values = c.values;
        EXPECT_EQ(readInto(c.expected.octets.size(), c.getter), c.expected) << c.strWhat;
    }
}

TEST_F(Settings, GettersOfNumbersAndModes)
{
    struct Case {
        std::string strKey, strValue;
        std::function<int()> getter;
        int iExpected;
    };
    const auto prefix = [] { return sysGetIP6_Prefix(0); };
    const auto state = [] { return sysGetDHCP_State(0); };
    for (const Case &c : {
             Case{"host dns-via-dhcp", "up", sysGetDNS_Setting, 0},
             Case{"host dns-via-dhcp", "", sysGetDNS_Setting, 1},
             Case{"management dhcp-status", "up", [] { return sysGetDHCP_Setting(0); }, 1},
             Case{"management dhcp-status", "down", [] { return sysGetDHCP_Setting(0); }, -1},
             Case{"management dhcp-status", "up", [] { return sysGetDHCP_Setting(1); }, -1},
             Case{"management ip", "169.254.3.4", state, 1},
             Case{"management ip", "169.253.3.4", state, 0},
             Case{"management ipv6-autoconfig-status", "up", [] { return sysGetIP6_Mode(0); }, 1},
             Case{"management ipv6-autoconfig-status", "", [] { return sysGetIP6_Mode(0); }, 2},
             Case{"management static-ipv6-prefix-length", "64", prefix, 64},
             Case{"management static-ipv6-prefix-length", "300", prefix, 44},
             Case{"management static-ipv6-prefix-length", "99999999999", prefix, 255},
             Case{"management static-ipv6-prefix-length", "", prefix, 0},
         }) {
        g_fakeStore.values = {{c.strKey, c.strValue}};
        EXPECT_EQ(c.getter(), c.iExpected) << c.strKey << "=" << c.strValue;
    }
}

TEST_F(Settings, SettersWriteTheConfiguredFields)
{
    static constexpr uint8_t IP[4] = {10, 0, 200, 255}, ZERO[16] = {};
    const IP6_Octets doc1{DOC1.data(), 16};
    const std::string strMode = "management ipv6-autoconfig-status", strGetMode = "get " + strMode;
    struct Case {
        const char *strMode; // IPv6 mode in the store
        std::function<int()> setter;
        int iResult;
        std::vector<std::string> log;
    };
    for (const Case &c : {
             Case{"", [] { return sysSetIP(0, IP); }, 0, {"set management static-ip=10.0.200.255"}},
             Case{"", [] { return sysSetIP(1, IP); }, 1, {}},
             Case{"", [] { return sysSetSubnetMask(0, IP); }, 0, {"set static-ip-route mask=10.0.200.255"}},
             Case{"", [] { return sysSetDefaultGateway(-3, IP); }, -3, {}},
             Case{"", [] { return sysSetDefaultGateway(0, IP); }, 0, {"set static-ip-route gateway=10.0.200.255"}},
             Case{"", [] { return sysSetPrimaryDNS(IP); }, 0, {"set host static-dns-1=10.0.200.255"}},
             Case{"", [] { return sysSetSecondaryDNS(IP); }, 0, {"set host static-dns-2=10.0.200.255"}},
             Case{"", [] { return sysSetDNS_Setting(0); }, 0, {"set host dns-via-dhcp=up"}},
             Case{"", [] { return sysSetDNS_Setting(1); }, 0, {"set host dns-via-dhcp=down"}},
             Case{"", [] { return sysSetDNS_Setting(2); }, 0, {}},
             Case{"", [] { return sysSetDHCP_Setting(0, 5), 0; }, 0, {"set management dhcp-status=up"}},
             Case{"", [] { return sysSetDHCP_Setting(0, 0), 0; }, 0, {"set management dhcp-status=down"}},
             Case{"", [] { return sysSetDHCP_Setting(1, 0), 0; }, 0, {}},
             Case{"", [] { return sysSetIP6_Mode(0, 1); }, 0, {"set " + strMode + "=up"}},
             Case{"", [] { return sysSetIP6_Mode(0, 3); }, 0, {"set " + strMode + "=down"}},
             Case{"up", [] { return sysSetIP6_Prefix(0, 64); }, -1, {strGetMode}},
             Case{"down",
                  [] { return sysSetIP6_Prefix(0, 300); },
                  0,
                  {strGetMode, "set management static-ipv6-prefix-length=44"}},
             Case{"", [&] { return sysSetIP6(0, doc1); }, -1, {strGetMode}},
             Case{"down", [] { return sysSetIP6(0, ZERO); }, -1, {strGetMode}},
             Case{
                 "down", [&] { return sysSetIP6(0, doc1); }, 0, {strGetMode, "set management static-ipv6=2001:db8::1"}},
             Case{"up", [&] { return sysSetDefaultGateway6(0, doc1); }, -1, {strGetMode}},
             Case{"down",
                  [&] { return sysSetDefaultGateway6(0, doc1); },
                  0,
                  {strGetMode, "set static-ipv6-route gateway=2001:db8::1"}},
             Case{"down",
                  [] { return sysSetDefaultGateway6(0, ZERO); },
                  0,
                  {strGetMode, "set static-ipv6-route gateway="}},
             Case{"", [] { return sysSetSystemName("Lobby"); }, 0, {"set system system-name=Lobby"}},
             Case{"", sysSetDDNS_ProviderIndex, 0, {}},
         }) {
        g_fakeStore = {};
        g_fakeStore.values = {{strMode, c.strMode}};
        CaptureStdout();
        EXPECT_EQ(c.setter(), c.iResult);
        EXPECT_EQ(g_fakeStore.takeLog(), c.log);
        GetCapturedStdout();
    }
}

TEST_F(Settings, ReportsStoreFailuresOfThreeSettersOnly)
{
    static constexpr uint8_t IP[16] = {10, 0, 0, 1};
    const IP_Octets ip{IP, 4};
    g_fakeStore.values = {{"management ipv6-autoconfig-status", "down"}};
    g_fakeStore.error = "refused";
    CaptureStdout();
    EXPECT_EQ(sysSetIP(0, ip), 7);
    EXPECT_EQ(sysSetSubnetMask(0, ip), 7);
    EXPECT_EQ(sysSetDefaultGateway(0, ip), 7);
    EXPECT_EQ(sysSetPrimaryDNS(ip), 0);
    EXPECT_EQ(sysSetIP6(0, IP), 0);
    EXPECT_EQ(sysSetSystemName("x"), 0);
    GetCapturedStdout();
}

TEST_F(Settings, TellsWhatTheIPv6GatewaySetterDoes)
{
    static constexpr uint8_t ZERO[16] = {};
    g_fakeStore.values = {{"management ipv6-autoconfig-status", "down"}};
    CaptureStdout();
    sysSetDefaultGateway6(0, ZERO);
    EXPECT_EQ(GetCapturedStdout(), "sAutoConfig = down\nstrAddr = ::\n");
}

TEST_F(Settings, NamesAndFixedValues)
{
    char strName[16] = "before";
    EXPECT_EQ(sysGetInterfaceName(0, strName), -1);
    g_fakeStore.values = {{"management interface", "brtrunk"}, {"system system-name", std::string(90, 'n')}};
    EXPECT_EQ(sysGetInterfaceName(1, strName), -1);
    EXPECT_EQ(sysGetInterfaceName(0, strName), 0);
    EXPECT_STREQ(strName, "brtrunk");
    EXPECT_EQ(sysGetSystemName(strName), 0);
    EXPECT_EQ(strlen(strName), 15u);

    struct Fixed {
        int (*pGetter)(std::span<char>);
        const char *strExpected;
    };
    for (const Fixed &fixed :
         {Fixed{sysGetBrandName, "Kestra AP"}, Fixed{sysGetHardwareVersion, "A1"}, Fixed{sysGetProductCategory, "AP"},
          Fixed{sysGetProductName, "WLAN-EAP"}, Fixed{sysGetSerialNumber, ""}, Fixed{sysGetHardwareSpec, ""},
          Fixed{sysGetDDNS_ProviderList, ""}}) {
        char strText[16] = "before";
        EXPECT_EQ(fixed.pGetter(std::span(strText)), 0);
        EXPECT_STREQ(strText, fixed.strExpected);
    }
    char strAlias[8] = "before!";
    EXPECT_EQ(sysGetInterfaceAlias(1, strAlias), -1);
    EXPECT_EQ(std::string(strAlias, 8), std::string(8, '\0'));
    EXPECT_EQ(sysGetInterfaceAlias(0, strAlias), 0);
    EXPECT_STREQ(strAlias, "LAN1");
}

TEST_F(Settings, DateIsFourteenDigitsAndFitsOrAborts)
{
    char strDate[16] = "before";
    ASSERT_EQ(sysGetDatetime(strDate), 0);
    EXPECT_THAT(strDate, testing::MatchesRegex("20[0-9]{12}"));
    EXPECT_DEATH(sysGetDatetime(std::span(strDate).first(14)),
                 "sys:[0-9]+: sysGetDatetime: Assertion \"buf_len>strlen\\(str\\)\" failed");
}
