// SPDX-License-Identifier: Apache-2.0
//
// The operations that write settings: addresses, account, clock, dynamic DNS, wireless networks, VLAN and SNMP.
#include "tests/blackbox/effects.h"

namespace
{

using EffectsSettings = Effects;

// Sequences of setting the basic information. Reads of the automatic switch are noted: the guards of the IPv6 fields.
const std::string NAME = "set system system-name=" + std::string(64, 'n') + " | ",
                  AUTO = "get management ipv6-autoconfig-status | ",
                  STATIC_IP = "set management dhcp-status=down | set management static-ip=192.168.77.99 | "
                              "set static-ip-route mask=255.255.0.0 | set static-ip-route gateway=192.168.77.1 | ",
                  DHCP = "set management dhcp-status=up | ",
                  STATIC_DNS = "set host static-dns-1=8.8.8.8 | set host static-dns-2=9.9.9.200 | "
                               "set host dns-via-dhcp=down | ",
                  DHCP_DNS = "set host dns-via-dhcp=up | ",
                  AUTO_IP6 = "uDHCP_Setting6 = 1 | set management ipv6-autoconfig-status=up | ",
                  MANUAL_IP6 = "uDHCP_Setting6 = 0 | set management ipv6-autoconfig-status=down | ",
                  IP6 = AUTO + "set management static-ipv6=2001:db8::9 | ",
                  PREFIX6 = AUTO + "set management static-ipv6-prefix-length=200 | ",
                  GATEWAY6 = AUTO + "sAutoConfig = down | strAddr = fe80::9 | set static-ipv6-route gateway=fe80::9 | ";

const Bytes ADDRESS6 = hex("20 01 0d b8") + zeros(11) + hex("09");

// The corpus varies each flag.
Bytes basic(bool bManual, const Bytes &ip6 = ADDRESS6, const Bytes &gateway6 = hex("fe 80") + zeros(13) + hex("09"))
{
    return Bytes(64, 'n') + hex("c0 a8 4d 63  50 00  aa") + hex(bManual ? "01" : "00") +
           hex("ff ff 00 00  c0 a8 4d 01  08 08 08 08  09 09 09 c8") + hex(bManual ? "00" : "01") + ip6 + hex("c8") +
           gateway6 + Bytes(32, '\x11') + hex(bManual ? "00" : "01");
}

TEST_F(EffectsSettings, Basic)
{
    const std::string strReply = "reply 38", strBefore6 = NAME + STATIC_IP + STATIC_DNS + MANUAL_IP6,
                      strManual = strBefore6 + IP6 + PREFIX6 + GATEWAY6 + strReply,
                      strSwitchedOn = "management ipv6-autoconfig-status: up";
    const Bytes manual = basic(true);
    m_strAlways = "@reads: management ipv6-autoconfig-status";
    const Effect EFFECTS[] = {
        {"all automatic", basic(false), status(), NAME + DHCP + DHCP_DNS + AUTO_IP6 + strReply},
        {"manual after automatic", manual, status(), strManual, strSwitchedOn},
        {"no IPv6 address", basic(true, zeros(16)), status(), strBefore6 + AUTO + strReply},
        {"no IPv6 gateway", basic(true, ADDRESS6, zeros(16)), status(),
         strBefore6 + IP6 + PREFIX6 + AUTO + "sAutoConfig = down | strAddr = :: | set static-ipv6-route gateway= | " +
             strReply},
        {"port 0x5050: both bytes count", Bytes(manual).replace(69, 1, "\x50"), status("03"), NAME + strReply},
        {"refused, manual already", manual, status(), refusing(strManual), REFUSING},
        {"refused, IPv6 stays automatic", manual, status(), refusing(strBefore6 + AUTO + strReply),
         REFUSING + " | " + strSwitchedOn},
    };
    checkAll(0xA2, EFFECTS);
}

TEST_F(EffectsSettings, Account)
{
    const Bytes abc = USER + text("YWJj", 64);
    const auto command = [](const std::string &strPassword) {
        return "/$ submit SET_PASSWD 'sysop' '" + strPassword + "' | reply 38";
    };
    check(0xA4, {"abc", abc, status(), command("abc")});
    check(0xA4, {"escaped", USER + text("YSRgYg==", 64), status(), command("a\\$\\`b")});
    check(0xA4, {"operators", USER + text("OyZ8PD4oKXt9ICo/", 64), status(), command(";&|<>(){} *?")});
    check(0xA4, {"full field", USER + "MDEyMzQ1Njc4OTAxMjM0NTY3ODkwMTIzNDU2Nzg5MDEyMzQ1Njc4OTAxMjM0NTY3YWJj", status(),
                 command("012345678901234567890123456789012345678901234567")});
    check(0xA4, {"the tool fails", abc, status(), command("abc"), "", "submit: exit 1"});
    check(0xA4, {"Sysop", text("U3lzb3A=", 64) + text("YWJj", 64), status("e9 03"), "reply 38"});
    check(0xA4, {"nobody, bad password", zeros(64) + text("YS1i", 64), status("e9 03"), "reply 38"});
    for (const char *strPassword : {"YUBi", "YTpi", "YS1i", "YS9i", "YVxi", "YSVi", "YSJi", "YSdi"}) // a@b and so on
        check(0xA4, {strPassword, USER + text(strPassword, 64), status("ee 03"), "reply 38"});
}

TEST_F(EffectsSettings, Clock)
{
    const std::string strGet = "reply 122";
    check(0xAC, {"white space", {}, text("2024 0229", 100), strGet, "", "date: printf ' \\t2024 0229\\r\\n\\n'"});
    check(0xAC, {"full", {}, text("202402292359591", 100), strGet, "", "date: echo 202402292359591; exit 1"});
    check(0xAC, {"missing", {}, zeros(100), strGet, "", "date: (none)"});
    check(0xAC, {"10 MB", {}, text("y", 100), strGet, "", "date: " + TEN_MB});

    const Effect SET[] = {
        {"zone", text("20240229235959", 16) + hex("f4 00 01 02") + text("pool.example", 64) + Bytes(16, 'x'), status(),
         "DateTime = 20240229235959, 32, 30, 32, 34, 30, 32, 32, 39, 32, 33, 35, 39, 35, 39, 0, 0,  | "
         "Time-zone = f4(Hex), 244(DEC) | DaylightSaving = 1 | NTP = 2 | NTP_Server = pool.example | reply 38"},
        {"no zone, no text, no format", hex("ff 25 73") + zeros(17) + text("%n%s", 80), status(),
         "DateTime = \xff%s, ff, 25, 73, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  | DaylightSaving = 0 | NTP = 0 | "
         "NTP_Server = %n%s | reply 38"},
    };
    checkAll(0xAD, SET);
}

TEST_F(EffectsSettings, DynamicDNSAndVLAN)
{
    check(0xA6, {"get", {}, zeros(525), "reply 547"});
    const Bytes fields = text("user", 64) + Bytes(64, 'p') + text("ap.example", 64);
    check(0xA7, {"set", zeros(129) + hex("02 02 01") + fields, status(), "reply 38"});
    const Bytes body = text("trunk", 32) + hex("10 00 00 00  00 00") + text("text behind a NUL", 63) + zeros(65);
    check(0xD2, {"no option", body, status(), "/$ submit SET_IPADDRESS | /$ submit COMMIT | reply 38"});
    check(0xD2, {"an option", Bytes(body).replace(36, 1, "\x80"), status("03"), "reply 38"});
}

TEST_F(EffectsSettings, SNMP)
{
    const std::string str32(32, 'r');
    const Effect EFFECTS[] = {
        {"off", hex("00") + text("public", 32) + text("%s", 32), status(),
         "uState = 0 | set snmp status=down | (SNMP read-only community) strName = public | "
         "set snmp ro-community=public | (SNMP read-write community) strTemp = %s | set snmp rw-community=%s | "
         "set config startup=running | reply 38"},
        {"on, 32 bytes, and none; refused", hex("f4") + str32, status(),
         refusing("uState = f4 | set snmp status=up | (SNMP read-only community) strName = " + str32 +
                  " | set snmp ro-community=" + str32 +
                  " | (SNMP read-write community) strTemp =  | "
                  "set snmp rw-community= | set config startup=running | reply 38"),
         REFUSING},
    };
    checkAll(0xD4, EFFECTS);
}

Bytes network(std::string_view strSSID, std::string_view strVLAN, std::string_view strSecurity, std::string_view strKey)
{
    return text(strSSID, 32) + text(strVLAN, 4) + text(strSecurity, 4) + text(strKey, 16);
}

// One case sets all eight networks; the last one's field is as long as the fields get.
TEST_F(EffectsSettings, SetWireless)
{
    const auto mode = [](const std::string &strVAP, const char *strMode) {
        return "set interface/wlan0" + strVAP + " security=" + strMode + " | ";
    };
    const auto bss = [](const std::string &strVAP, const char *strWPA, const char *strWPA2) {
        return "set bss/wlan0bss" + strVAP + " wpa-allowed=" + strWPA + " | set bss/wlan0bss" + strVAP +
               " wpa2-allowed=" + strWPA2 + " | ";
    };
    const std::string str16 = "0123456789abcdef";
    const Bytes band0 = zeros(2), none = zeros(56);
    const Effect EFFECTS[] = {
        {"every code", // the mode of the last two stays
         hex("00 07") + network("one", "1", "1", "key0") + network("two", "2", "2", "key1") +
             network("three", "3", "3", "key2") + network("four", "4", "4", "") + network("", "", "5", "key4") +
             network("s", "v", "6", "key5") + network("s", "1", "0", "key6") + network("s", "1", "7", "key7"),
         zeros(451),
         mode("", "static-wep") + "set interface/wlan0 wep-key-2=key0 | " + mode("vap1", "wpa-personal") +
             bss("vap1", "on", "off") + "set interface/wlan0vap1 wpa-personal-key=key1 | " +
             mode("vap2", "wpa-enterprise") + bss("vap2", "on", "off") + mode("vap3", "wpa-personal") +
             bss("vap3", "off", "on") + "set interface/wlan0vap3 wpa-personal-key= | " +
             mode("vap4", "wpa-enterprise") + bss("vap4", "off", "on") + mode("vap5", "plain-text") +
             "set interface/wlan0vap6 wpa-personal-key=key6 | set interface/wlan0vap7 wep-key-=key7 | reply 473",
         "interface/wlan0 wep-default-key: 2 | interface/wlan0vap6 security: wpa-personal | "
         "interface/wlan0vap7 security: static-wep"},
        {"no code, texts without end", // each is cut at its field but the key, which runs on into the next name
         band0 + none + network("s", "1", "-1", "k") + network(std::string(32, 's'), "9999", "6xxx", str16) +
             network("next", "", "2", str16) + Bytes(56, '5'),
         zeros(451),
         mode("vap2", "plain-text") + mode("vap3", "wpa-personal") + bss("vap3", "on", "off") +
             "set interface/wlan0vap3 wpa-personal-key=" + str16 + std::string(56, '5') + " | reply 473"},
        {"refused", band0 + network("", "", "1", "key"), zeros(451),
         refusing(mode("", "static-wep") + "set interface/wlan0 wpa-personal-key=key | reply 473"),
         REFUSING + " | interface/wlan0 security: wpa-personal"},
    };
    checkAll(0xD1, EFFECTS);
}

TEST_F(EffectsSettings, GetWireless)
{
    const std::string str40 = "0123456789abcdefghijklmnopqrstuvwxyzABCD", strPersonal = " security: wpa-personal",
                      strKey = " wpa-personal-key: ";
    const auto personal = [&](const std::string &strInterface, const std::string &strValue) {
        return "interface/" + strInterface + strPersonal + " | interface/" + strInterface + strKey + strValue + " | ";
    };
    const Effect EFFECTS[] = {
        {"keys of 40 characters",
         {},
         zeros(3 + 40) + str40 + zeros(32 + 3 * 56) + zeros(40) + text("short", 16) + zeros(40) +
             text("wep-three", 16) + zeros(40) + str40.substr(0, 16),
         "reply 473",
         personal("wlan0", str40) + personal("wlan1", "the other radio") + personal("wlan0vap5", "short") +
             personal("wlan0vap7", str40) +
             "interface/wlan0vap6 security: static-wep | interface/wlan0vap6 "
             "wep-default-key: 3 | interface/wlan0vap6 wep-key-3: wep-three | interface/wlan0vap4 security: "
             "wpa-enterprise | interface/wlan0vap4 wpa-personal-key: not sent | interface/wlan0 ssid: lobby | "
             "bss/wlan0bssvap7 wpa-allowed: on | vap/vap1 vlan-id radio=wlan0: 12 | radio/wlan0 mode: a"},
        {"a later key ends an earlier one that runs over it",
         {},
         zeros(3 + 40) + std::string(56, 'l') + text("mine", 5) + std::string(43, 'l') + zeros(304),
         "reply 473",
         personal("wlan0", std::string(104, 'l')) + personal("wlan0vap1", "mine")},
    };
    checkAll(0xD8, EFFECTS);
}

} // namespace
