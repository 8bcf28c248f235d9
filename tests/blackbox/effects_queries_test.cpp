// SPDX-License-Identifier: Apache-2.0
//
// The answers of the operations that only ask, byte for byte, the announcement, and which credentials are good.
#include "tests/blackbox/effects.h"

namespace
{

using EffectsQueries = Effects;

struct Discovery {
    const char *strCase, *strStore, *strDNS_Mode;
    Bytes servers; // both
    const char *strDHCP;
    Bytes address6, gateway6;
    const char *strAuto6;
};

const Bytes STATIC_SERVERS = hex("c0 00 02 01  c0 00 02 02"), LEARNT_SERVERS = hex("0a 00 00 35  0a 00 00 36");
const Bytes STATIC_IP6 = hex("20 01 0d b8 00 77 00 00  00 00 00 00 00 00 00 10");
const Bytes STATIC_GATEWAY6 = hex("20 01 0d b8 00 77 00 00  00 00 00 00 00 00 00 01");
const Bytes AUTO_IP6 = hex("20 01 0d b8 00 01 00 00  00 00 00 00 00 00 00 0a"); // the first of the list
const Bytes AUTO_GATEWAY6 = hex("fe 80 00 00 00 00 00 00  00 00 00 00 00 00 00 01");

const Discovery DISCOVERIES[] = {
    {"all static", "", "01", STATIC_SERVERS, "ff", STATIC_IP6, STATIC_GATEWAY6, "00"},
    {"DHCP and IPv6 automatic",
     "management dhcp-status: up | host dns-via-dhcp: up | management ipv6-autoconfig-status: up", "00", LEARNT_SERVERS,
     "01", AUTO_IP6, AUTO_GATEWAY6, "01"},
    {"static servers under DHCP, IPv6 off",
     "management dhcp-status: up | host dns-via-dhcp: (none) | management ipv6-status: down | "
     "management ipv6-autoconfig-status: up",
     "01", STATIC_SERVERS, "01", zeros(16), zeros(16), "01"},
    {"switches are exactly up or down",
     "management dhcp-status: UP | host dns-via-dhcp: Up | management ipv6-status: up  | "
     "management ipv6-autoconfig-status: 1",
     "01", STATIC_SERVERS, "ff", zeros(16), zeros(16), "00"},
};

Bytes discovered(const Discovery &is)
{
    return text("Kestra AP", 64) + text("WLAN-EAP", 64) + text("KW-2210", 32) + text("4.2.0.9", 32) +
           hex("02 00  00 00 00 00  02 4b 65 73 74 01") + text("lobby", 64) + // type, hardware word, MAC
           hex("c0 a8 4d 0a  50 00  00") + hex(is.strDNS_Mode) +              // address, web port
           hex("ff ff ff 00  c0 a8 4d fe") + is.servers + hex(is.strDHCP) +   // mask, gateway
           text("20240229235959", 16) + zeros(2) + hex("00") +                // date, daylight saving
           text("AP", 32) + text("A1", 32) + text("", 32) + text("LAN1", 8) + //
           is.address6 + hex("40") + is.gateway6 + zeros(32) + hex(is.strAuto6) + hex("00");
}

const Bytes NEIGHBOUR = hex("01") + text("WLAN-EAP", 64) + text("AP", 32) + text("4.2.0.9", 32) +
                        hex("02 4b 65 73 74 01") + text("lobby", 64) + hex("c0 a8 4d 0a  ff ff ff 00") + STATIC_IP6 +
                        text("LAN1", 8);
// What is served beyond a1 to a5.
const Bytes FUNCTIONS = hex("a6 00 a7 00 aa 00 ab 00 ac 00 ad 00 c0 00 c9 00 d0 00 d1 00 d2 00 d4 00 d8 00"
                            "00 01 01 01 02 01 03 01  00 00");

TEST_F(EffectsQueries, Answers)
{
    const std::string strDate = "date: echo 20240229235959";
    for (const Discovery &is : DISCOVERIES)
        check(0xA1, {is.strCase, {}, discovered(is), "reply 505", is.strStore, strDate});
    EXPECT_EQ(noted("tools"), "date +%Y%m%d%H%M%S");
    check(0xD0, {"neighbour", {}, NEIGHBOUR, "reply 253"});
    check(0xA5, {"functions", {}, FUNCTIONS, "reply 58"});
    check(0xA3, {"user", {}, hex("01 00 00 00"), "reply 26"});
    check(0xC9, {"network status", {}, hex("00 00 00 00  c0 a8 4d 0a") + zeros(12), "reply 42"});
    check(0xC9, {"no bridge", {}, {}, "reply 22", "management interface: eth0"});
    prepare();
    EXPECT_TRUE(same(replyFrame(0xD0, NEIGHBOUR), ask(request(0xD0, 0x1234, {}, ALL, TO_ALL))));
    const Bytes guest = text("Z3Vlc3Q=", 64) + PASSWORD;
    EXPECT_TRUE(same(replyFrame(0xA3, hex("02 00 00 00")), ask(request(0xA3, 0x1234, guest))));
    // A link-local address shows that DHCP gave none; whether DHCP is on does not matter.
    prepare("management ip: 169.254.3.4");
    const Bytes own = hex("02 4b 65 73 74 01  a9 fe 03 04");
    EXPECT_TRUE(
        same(hex("ee fe  34 12  c9 00") + own + hex("00 00  02 00  14 00  01 00 00 00  a9 fe 03 04") + zeros(12),
             ask(request(0xC9, 0x1234, CREDENTIALS, own))));
    prepare("management ip: (none) | management mac: (none)"); // the store decides, whatever the interface has
    EXPECT_EQ(ask(request(0xD0, 0x1234, {}, zeros(10))).substr(0, 16), hex("ee fe  34 12  d0 00") + zeros(10));
}

struct Login {
    const char *strCase;
    Bytes body;
    bool bAccepted;
    const char *strStored = ""; // changes to the settings that accept CREDENTIALS
};

const Login LOGINS[] = {
    {"a user name that fills its field", Bytes(64, 'A') + PASSWORD, true},
    {"an unreadable user name", text("@@@ not base64 @@@", 64) + PASSWORD, true},
    {"an unreadable password", USER + text("a2Vz*HJlbC05", 64), false},
    {"a password field without NUL", USER + Bytes(64, 'a') + PASSWORD, false},
    {"a hash of 63 characters", CREDENTIALS, true, // the most that may be stored
     "system encrypted-password: $5$0123456789abcdef$kXt2X1aPSvQzIkE.Fbop7kJvdKVIKyD9ytsHrtwjf99"},
    {"a password as long as its field", // 48 characters, "0123456789" and so on; more behind it
     USER + "MDEyMzQ1Njc4OTAxMjM0NTY3ODkwMTIzNDU2Nzg5MDEyMzQ1Njc4OTAxMjM0NTY3YWJj", true,
     "system encrypted-password: $1$Kestra77$4okQFnAqnYqIPV3Ae0D.P1"},
    {"a hash of 64 characters", CREDENTIALS, false,
     "system encrypted-password: $5$rounds=1000$abcde$92mMukGutrTY5WUuJ5/fpPm24YN4VexSX2VylkuL9O9"},
    {"a hash that would match when cut to 63 characters", CREDENTIALS, false,
     "system encrypted-password: $5$0123456789abcdef$kXt2X1aPSvQzIkE.Fbop7kJvdKVIKyD9ytsHrtwjf99x"},
    {"an unusable hash", CREDENTIALS, false, "system encrypted-password: *"},
    {"no hash, no password", text("c3lzb3A=", 128), false, "system encrypted-password: (none)"},
    {"other case of the administrator", CREDENTIALS, false, "system username: Sysop"},
    {"an administrator that begins alike", CREDENTIALS, false, "system username: sysop2"},
};

TEST_F(EffectsQueries, Credentials)
{
    for (const Login &login : LOGINS) {
        SCOPED_TRACE(login.strCase);
        prepare(login.strStored);
        EXPECT_EQ(word(ask(request(0xA5, 9, login.body)), 16), login.bAccepted ? 0 : 2);
    }
}

const std::string LONG(1000, 'n');

TEST_F(Blackbox, Announcement)
{
    launch({.settings = standardSettings({{"system system-name", LONG},
                                          {"system version", LONG},
                                          {"management static-ipv6", "2001:db8:77::10\nfd00::4"}})});
    const Bytes expected = hex("ff ff  00 00  a0 00  02 4b 65 73 74 01  c0 a8 4d 0a  00 00  02 00  27 01") +
                           text("WLAN-EAP", 64) + text("AP", 32) + Bytes(31, 'n') + hex("00  02 4b 65 73 74 01") +
                           text("A1", 32) + zeros(32) + Bytes(63, 'n') + hex("00  c0 a8 4d 0a  ff ff ff 00") +
                           text("LAN1", 8) + hex("20 01 0d b8 00 77 00 00  00 00 00 00 00 00 00 10  40");
    ASSERT_EQ(expected.size(), 317u);
    EXPECT_TRUE(same(expected, announcement()));
}

// What replies make of settings that are long or odd.
struct Value {
    const char *strCase;
    int iOperation;
    std::string strStored;
    size_t uOffset; // in the body of the reply
    Bytes expected; // there, with a byte of the field's neighbours where they could be overwritten
};

const std::string NAME = "system system-name: ", IP6 = "management static-ipv6: ";

const Value VALUES[] = {
    {"long name", 0xD0, NAME + LONG, 134, hex("01") + Bytes(63, 'n') + hex("00 c0 a8 4d 0a")},
    {"conversions", 0xD0, NAME + "%n%s%%%1000d", 135, text("%n%s%%%1000d", 64)},
    {"long MAC", 0xD0, "management mac: 02:4b:65:73:74:01" + LONG, 129, hex("02 4b 65 73 74 01") + "l"},
    {"MAC without colons", 0xD0, "management mac: 024b65737401", 129, hex("02 00 00 00 00 00") + "l"},
    {"address cut at 31", 0xD0, "management ip: " + std::string(30, '0') + "1.2.3.4", 199, hex("01 00 00 00 ff")},
    {"two IPv6 addresses", 0xD0, IP6 + "fd00::1 fd00::2", 207, hex("fd") + zeros(14) + hex("01") + "LAN1"},
    {"IPv6 cut at 45", 0xD0, IP6 + "fd00::5" + std::string(38, ' ') + LONG, 207, hex("fd") + zeros(14) + hex("05")},
    {"unreadable IPv6", 0xD0, IP6 + "fd00::1/64", 207, zeros(16) + "LAN1"},
    {"long model", 0xA1, "system model: " + LONG, 127, hex("00") + Bytes(31, 'n') + hex("00") + "4.2"},
    {"IPv6 gateway with a blank", 0xA1, "static-ipv6-route gateway: fe80::1 ", 433, zeros(16)},
};

TEST_F(EffectsQueries, LongAndOddValues)
{
    for (const Value &is : VALUES) {
        SCOPED_TRACE(is.strCase);
        prepare(is.strStored);
        const Bytes answer = ask(request(is.iOperation, 1, {}, ALL, TO_ALL));
        EXPECT_TRUE(same(is.expected, answer.substr(22 + is.uOffset, is.expected.size())));
    }
}

TEST_F(Blackbox, EmptyStore)
{
    launch({.settings = {{"management interface", "brtrunk"}}});
    const Bytes expected = hex("ff ff  00 00  a0 00  00 00 00 00 00 00  00 00 00 00  00 00  02 00  27 01") +
                           text("WLAN-EAP", 64) + text("AP", 32) + zeros(32 + 6) + text("A1", 32) +
                           zeros(32 + 64 + 4 + 4) + text("LAN1", 8) + zeros(17);
    EXPECT_TRUE(same(expected, announcement()));
    const Bytes neighbour = hex("ee fe  01 00  d0 00  00 00 00 00 00 00  00 00 00 00  00 00  02 00  e7 00  01") +
                            text("WLAN-EAP", 64) + text("AP", 32) + zeros(32 + 6 + 64 + 4 + 4 + 16) + text("LAN1", 8);
    EXPECT_TRUE(same(neighbour, ask(request(0xD0, 1, {}, ALL, TO_ALL))));
}

} // namespace
