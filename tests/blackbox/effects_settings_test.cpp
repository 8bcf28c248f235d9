// SPDX-License-Identifier: Apache-2.0
//
// The operations that write settings: addresses, account, clock, dynamic DNS, wireless networks, VLAN and SNMP.
#include "tests/blackbox/effects.h"

namespace
{

class EffectsSettings : public Effects
{
};

// Sequences of setting the basic information. Reads of the automatic switch are noted: the guards of the IPv6 fields.
const std::string NAME = "set system system-name=attic | ", AUTO = "get management ipv6-autoconfig-status | ",
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

struct Basic {
    const char *strName = "attic";
    const char *strPort = "50 00";
    const char *strManualDNS = "00";
    const char *strDHCP = "01";
    const char *strIP6 = "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 09";
    const char *strGateway6 = "fe 80 00 00 00 00 00 00 00 00 00 00 00 00 00 09";
    const char *strAuto6 = "01";
};

Bytes basic(const Basic &is)
{
    return text(is.strName, 64) + hex("c0 a8 4d 63") + hex(is.strPort) + hex("aa") + hex(is.strManualDNS) +
           hex("ff ff 00 00  c0 a8 4d 01  08 08 08 08  09 09 09 c8") + hex(is.strDHCP) + hex(is.strIP6) + hex("c8") +
           hex(is.strGateway6) + Bytes(32, '\x11') + hex(is.strAuto6);
}

constexpr char NO_IP6[] = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";

// Every write is tried, and each says that it was refused.
std::string refusing(std::string strSequence)
{
    std::string strResult;
    while (!strSequence.empty()) {
        const size_t uEnd = strSequence.find(" | ") + 3;
        strResult += strSequence.substr(0, uEnd);
        if (strSequence.starts_with("set "))
            strResult += "Error occurred on set: 100% full | ";
        strSequence.erase(0, uEnd);
    }
    return strResult;
}

TEST_F(EffectsSettings, Basic)
{
    const Bytes done = statusFrame("a2 00", "00 00 00 00"), refused = statusFrame("a2 00", "03 00 00 00");
    const Settings automatic = {{"management ipv6-autoconfig-status", "up"}};
    const std::string strReply = "reply 38";
    const std::string strManual = NAME + STATIC_IP + STATIC_DNS + MANUAL_IP6 + IP6 + PREFIX6 + GATEWAY6;
    const std::string strAutomatic = NAME + DHCP + DHCP_DNS + AUTO_IP6;
    const Bytes manual = basic({.strManualDNS = "01", .strDHCP = "00", .strAuto6 = "00"});
    m_always = {{"@reads", "management ipv6-autoconfig-status"}};
    const Effect EFFECTS[] = {
        {"all automatic", basic({}), done, strAutomatic + strReply},
        {"all manual", manual, done, strManual + strReply},
        {"manual after automatic", manual, done, strManual + strReply, automatic},
        {"port 0", basic({.strPort = "00 00"}), done, strAutomatic + strReply},
        {"port 8080", basic({.strPort = "90 1f"}), refused, NAME + strReply},
        {"port 80 in network order", basic({.strPort = "00 50"}), refused, NAME + strReply},
        {"any flag but 0 is on", basic({.strManualDNS = "80", .strDHCP = "ff", .strAuto6 = "f4"}), done,
         NAME + DHCP + STATIC_DNS + "uDHCP_Setting6 = f4 | set management ipv6-autoconfig-status=up | " + strReply},
        {"IPv6 manual, no address", basic({.strIP6 = NO_IP6, .strAuto6 = "00"}), done,
         NAME + DHCP + DHCP_DNS + MANUAL_IP6 + AUTO + strReply},
        {"IPv6 manual, no gateway", basic({.strGateway6 = NO_IP6, .strAuto6 = "00"}), done,
         NAME + DHCP + DHCP_DNS + MANUAL_IP6 + IP6 + PREFIX6 + AUTO +
             "sAutoConfig = down | strAddr = :: | set static-ipv6-route gateway= | " + strReply},
        {"the store refuses, manual already", manual, done, refusing(strManual) + strReply, {{"@fail", "100% full"}}},
        {"the store refuses, IPv6 stays automatic",
         manual,
         done,
         refusing(NAME + STATIC_IP + STATIC_DNS + MANUAL_IP6 + AUTO) + strReply,
         {{"@fail", "100% full"}, {"management ipv6-autoconfig-status", "up"}}},
        {"a name without end", basic({.strName = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"}),
         done,
         "set system system-name=0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef | " + DHCP +
             DHCP_DNS + AUTO_IP6 + strReply},
        {"the body ends after the port", basic({}).substr(0, 70), done,
         NAME +
             "set management dhcp-status=down | set management static-ip=192.168.77.99 | "
             "set static-ip-route mask=0.0.0.0 | set static-ip-route gateway=0.0.0.0 | " +
             DHCP_DNS + MANUAL_IP6 + AUTO + strReply},
    };
    checkAll(0xA2, EFFECTS);
}

TEST_F(EffectsSettings, Account)
{
    const Bytes done = statusFrame("a4 00", "00 00 00 00"), wrongUser = statusFrame("a4 00", "e9 03 00 00"),
                badCharacter = statusFrame("a4 00", "ee 03 00 00"), user = text("c3lzb3A=", 64);
    const auto command = [](const std::string &strPassword) {
        return "/$ submit SET_PASSWD 'sysop' '" + strPassword + "' | reply 38";
    };
    std::string strLong, strLongBase64;
    for (int i = 0; i < 16; i++) {
        strLong += "abc";
        strLongBase64 += "YWJj";
    }
    std::vector<Effect> effects = {
        {"abc", user + text("YWJj", 64), done, command("abc")},
        {"empty", user + zeros(64), done, command("")},
        {"escaped: a$`b", user + text("YSRgYg==", 64), done, command("a\\$\\`b")},
        {"operators: ;&|<>(){} *?", user + text("OyZ8PD4oKXt9ICo/", 64), done, command(";&|<>(){} *?")},
        {"full field", user + strLongBase64, done, command(strLong)},
        {"the tool fails", user + text("YWJj", 64), done, command("abc"), {}, {{"submit", "exit 1"}}},
        {"the tool is missing", user + text("YWJj", 64), done, command("abc"), {}, {{"submit", std::nullopt}}},
        {"Sysop", text("U3lzb3A=", 64) + text("YWJj", 64), wrongUser, "reply 38"},
        {"full user field", strLongBase64 + text("YWJj", 64), wrongUser, "reply 38"},
        {"nobody, bad password", zeros(64) + text("YS1i", 64), wrongUser, "reply 38"},
    };
    for (const char *strPassword : {"YUBi", "YTpi", "YS1i", "YS9i", "YVxi", "YSVi", "YSJi", "YSdi"}) // a@b and so on
        effects.push_back({strPassword, user + text(strPassword, 64), badCharacter, "reply 38"});
    checkAll(0xA4, effects);
}

TEST_F(EffectsSettings, Clock)
{
    const auto now = [](const char *strDate) { return replyFrame("ac 00", "64 00", text(strDate, 100)); };
    const Effect GET[] = {
        {"14 digits", {}, now("20240229235959"), "reply 122", {}, {{"date", "echo 20240229235959"}}},
        {"white space", {}, now("2024 0229"), "reply 122", {}, {{"date", "printf ' \\t2024 0229\\r\\n\\n'"}}},
        {"15 characters", {}, now("202402292359591"), "reply 122", {}, {{"date", "echo 202402292359591; exit 1"}}},
        {"nothing", {}, now(""), "reply 122"},
        {"missing", {}, now(""), "reply 122", {}, {{"date", std::nullopt}}},
        {"killed", {}, now(""), "reply 122", {}, {{"date", "kill -9 $$"}}},
        {"10 MB", {}, now("y"), "reply 122", {}, {{"date", "yes | head -c 10000000"}}},
    };
    checkAll(0xAC, GET);

    const Bytes done = statusFrame("ad 00", "00 00 00 00");
    const Bytes server = text("pool.example", 64) + Bytes(16, 'x');
    const std::string strDate = "DateTime = 20240229235959, 32, 30, 32, 34, 30, 32, 32, 39, 32, 33, 35, 39, 35, 39, 0, "
                                "0,  | ",
                      strServer = "NTP_Server = pool.example | reply 38";
    const Effect SET[] = {
        {"zone", text("20240229235959", 16) + hex("f4 00 01 02") + server, done,
         strDate + "Time-zone = f4(Hex), 244(DEC) | DaylightSaving = 1 | NTP = 2 | " + strServer},
        {"no zone", text("20240229235959", 16) + hex("00 00 00 ff") + server, done,
         strDate + "DaylightSaving = 0 | NTP = ff | " + strServer},
        {"without end", "2024022923595912" + hex("00 00 00 00") + Bytes(64, 's') + "not this", done,
         "DateTime = 2024022923595912, 32, 30, 32, 34, 30, 32, 32, 39, 32, 33, 35, 39, 35, 39, 31, 32,  | "
         "DaylightSaving = 0 | NTP = 0 | NTP_Server = " +
             std::string(64, 's') + " | reply 38"},
        {"no text, no format", hex("ff 25 73") + zeros(13) + zeros(4) + text("%n%s", 80), done,
         "DateTime = \xff%s, ff, 25, 73, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  | DaylightSaving = 0 | NTP = 0 | "
         "NTP_Server = %n%s | reply 38"},
    };
    checkAll(0xAD, SET);
}

TEST_F(EffectsSettings, DynamicDNS)
{
    check(0xA6, {"get", {}, replyFrame("a6 00", "0d 02", zeros(525)), "reply 547"});
    const Bytes fields = text("user", 64) + Bytes(64, 'p') + text("ap.example", 64);
    const Bytes done = statusFrame("a7 00", "00 00 00 00");
    check(0xA7, {"set", zeros(129) + hex("02 02 01") + fields, done, "reply 38"});
    check(0xA7, {"provider stays", zeros(129) + hex("00 00 ff") + fields, done, "reply 38"});
}

TEST_F(EffectsSettings, VLAN)
{
    const Bytes leading = text("trunk", 32), id = hex("10 00 00 00"), off = zeros(65);
    const Bytes refused = statusFrame("d2 00", "03 00 00 00"), done = statusFrame("d2 00", "00 00 00 00");
    const std::string strCommands = "/$ submit SET_IPADDRESS | /$ submit COMMIT | reply 38";
    const Effect EFFECTS[] = {
        {"no option", leading + id + off + off, done, strCommands},
        {"the tool fails", leading + hex("ff ff ff ff"), done, strCommands, {}, {{"submit", "exit 3"}}},
        {"first option", leading + id + hex("01") + zeros(64) + off, refused, "reply 38"},
        {"first text", leading + id + hex("00") + text("x", 64) + off, refused, "reply 38"},
        {"second option", leading + id + off + hex("80") + zeros(64), refused, "reply 38"},
        {"second text", leading + id + off + hex("00") + text("x", 64), refused, "reply 38"},
        {"text behind a NUL", leading + id + hex("00 00") + text("x", 63) + off, done, strCommands},
    };
    checkAll(0xD2, EFFECTS);
}

TEST_F(EffectsSettings, SNMP)
{
    const Bytes done = statusFrame("d4 00", "00 00 00 00");
    const std::string str32(32, 'r'), strSave = "set config startup=running | reply 38";
    const std::string strNames = "(SNMP read-only community) strName = public | set snmp ro-community=public | "
                                 "(SNMP read-write community) strTemp = %s | set snmp rw-community=%s | ";
    const std::string strFull = "(SNMP read-only community) strName = " + str32 + " | set snmp ro-community=" + str32 +
                                " | (SNMP read-write community) strTemp =  | set snmp rw-community= | ";
    const Effect EFFECTS[] = {
        {"off", hex("00") + text("public", 32) + text("%s", 32), done,
         "uState = 0 | set snmp status=down | " + strNames + strSave},
        {"on", hex("f4") + text("public", 32) + text("%s", 32), done,
         "uState = f4 | set snmp status=up | " + strNames + strSave},
        {"32 bytes, and none", hex("02") + str32, done, "uState = 2 | set snmp status=up | " + strFull + strSave},
        {"refused",
         hex("02") + str32,
         done,
         refusing("uState = 2 | set snmp status=up | " + strFull + "set config startup=running | ") + "reply 38",
         {{"@fail", "100% full"}}},
    };
    checkAll(0xD4, EFFECTS, {});
}

Bytes network(std::string_view strSSID, std::string_view strVLAN, std::string_view strSecurity, std::string_view strKey)
{
    return text(strSSID, 32) + text(strVLAN, 4) + text(strSecurity, 4) + text(strKey, 16);
}

// One case sets all eight networks; the last one's field is as long as the fields get.
TEST_F(EffectsSettings, SetWireless)
{
    const Bytes done = replyFrame("d1 00", "c3 01", zeros(451));
    const Settings modes = {{"interface/wlan0 wep-default-key", "2"},
                            {"interface/wlan0vap6 security", "wpa-personal"},
                            {"interface/wlan0vap7 security", "static-wep"}};
    const std::string str16 = "0123456789abcdef";
    const std::string strOpen = "set interface/wlan0vap2 security=plain-text | reply 473";
    const Bytes none = zeros(56);
    const Effect EFFECTS[] = {
        {"every code", // the mode of the last two stays
         hex("00 07") + network("one", "1", "1", "key0") + network("two", "2", "2", "key1") +
             network("three", "3", "3", "key2") + network("four", "4", "4", "") + network("", "", "5", "key4") +
             network("s", "v", "6", "key5") + network("s", "1", "0", "key6") + network("s", "1", "7", "key7"),
         done,
         "set interface/wlan0 security=static-wep | set interface/wlan0 wep-key-2=key0 | "
         "set interface/wlan0vap1 security=wpa-personal | set bss/wlan0bssvap1 wpa-allowed=on | "
         "set bss/wlan0bssvap1 wpa2-allowed=off | set interface/wlan0vap1 wpa-personal-key=key1 | "
         "set interface/wlan0vap2 security=wpa-enterprise | set bss/wlan0bssvap2 wpa-allowed=on | "
         "set bss/wlan0bssvap2 wpa2-allowed=off | "
         "set interface/wlan0vap3 security=wpa-personal | set bss/wlan0bssvap3 wpa-allowed=off | "
         "set bss/wlan0bssvap3 wpa2-allowed=on | set interface/wlan0vap3 wpa-personal-key= | "
         "set interface/wlan0vap4 security=wpa-enterprise | set bss/wlan0bssvap4 wpa-allowed=off | "
         "set bss/wlan0bssvap4 wpa2-allowed=on | "
         "set interface/wlan0vap5 security=plain-text | "
         "set interface/wlan0vap6 wpa-personal-key=key6 | set interface/wlan0vap7 wep-key-=key7 | reply 473",
         modes},
        {"any band is wlan0", hex("01 00") + none + none + network("s", "1", "6", "k"), done, strOpen},
        {"texts without end", // each is cut at its field but the key, which runs on into the next name
         hex("00 00") + none + none + network(std::string(32, 's'), "9999", "6xxx", str16) +
             network("next", "", "2", str16) + Bytes(56, '5'),
         done,
         "set interface/wlan0vap2 security=plain-text | set interface/wlan0vap3 security=wpa-personal | "
         "set bss/wlan0bssvap3 wpa-allowed=on | set bss/wlan0bssvap3 wpa2-allowed=off | "
         "set interface/wlan0vap3 wpa-personal-key=" +
             str16 + std::string(56, '5') + " | reply 473"},
        {"no numbers", hex("00 00") + network("s", "1", "wpa", "k") + network("s", "1", "-1", "k"), done, "reply 473"},
        {"refused",
         hex("00 00") + network("", "", "1", "key"),
         done,
         "set interface/wlan0 security=static-wep | Error occurred on set: 100% full | "
         "set interface/wlan0 wpa-personal-key=key | Error occurred on set: 100% full | reply 473",
         {{"@fail", "100% full"}, {"interface/wlan0 security", "wpa-personal"}}},
    };
    checkAll(0xD1, EFFECTS);
}

TEST_F(EffectsSettings, GetWireless)
{
    const std::string str40 = "0123456789abcdefghijklmnopqrstuvwxyzABCD", strWEP = "wep";
    const Bytes none = zeros(56);
    const auto reply = [](const Bytes &networks) { return replyFrame("d8 00", "c3 01", zeros(3) + networks); };
    const Effect EFFECTS[] = {
        {"nothing stored", {}, reply(zeros(448)), "reply 473"},
        {"keys of 40 characters",
         {},
         reply(zeros(40) + str40 + zeros(56 + 16 - 40) + none + none + none + zeros(40) + text("short", 16) +
               zeros(40) + text("wep-three", 16) + zeros(40) + str40.substr(0, 16)),
         "reply 473",
         {{"interface/wlan0 security", "wpa-personal"},
          {"interface/wlan0 wpa-personal-key", str40},
          {"interface/wlan0 ssid", "lobby"},
          {"interface/wlan1 security", "wpa-personal"},
          {"interface/wlan1 wpa-personal-key", "the other radio"},
          {"interface/wlan0vap4 security", "wpa-enterprise"},
          {"interface/wlan0vap4 wpa-personal-key", "not sent"},
          {"interface/wlan0vap5 security", "wpa-personal"},
          {"interface/wlan0vap5 wpa-personal-key", "short"},
          {"interface/wlan0vap6 security", "static-wep"},
          {"interface/wlan0vap6 wep-default-key", "3"},
          {"interface/wlan0vap6 wep-key-3", "wep-three"},
          {"interface/wlan0vap7 security", "wpa-personal"},
          {"interface/wlan0vap7 wpa-personal-key", str40},
          {"bss/wlan0bssvap7 wpa-allowed", "on"},
          {"vap/vap1 vlan-id radio=wlan0", "12"},
          {"radio/wlan0 mode", "a"}}},
        {"a later key ends an earlier one that runs over it",
         {},
         reply(zeros(40) + std::string(56, 'l') + text("mine", 5) + std::string(43, 'l') + zeros(304)),
         "reply 473",
         {{"interface/wlan0 security", "wpa-personal"},
          {"interface/wlan0 wpa-personal-key", std::string(104, 'l')},
          {"interface/wlan0vap1 security", "wpa-personal"},
          {"interface/wlan0vap1 wpa-personal-key", "mine"}}},
    };
    checkAll(0xD8, EFFECTS);
}

} // namespace
