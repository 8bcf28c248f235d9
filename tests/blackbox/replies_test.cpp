// SPDX-License-Identifier: Apache-2.0
//
// Every operation's answer, byte for byte.
#include "tests/blackbox/driver.h"

namespace
{

using BlackboxReplies = Blackbox;

// Offsets in a discovery reply, header included.
constexpr size_t DATE = 22 + 293, DATE_DIGITS = 14;

struct Discovery {
    const char *strCase;
    Settings settings;
    Bytes dns;     // mode
    Bytes servers; // both
    Bytes dhcp;
    Bytes address6;
    Bytes gateway6;
    Bytes auto6;
};

const Bytes STATIC_SERVERS = hex("c0 00 02 01  c0 00 02 02"), LEARNT_SERVERS = hex("0a 00 00 35  0a 00 00 36");
const Bytes STATIC_IP6 = hex("20 01 0d b8 00 77 00 00  00 00 00 00 00 00 00 10");
const Bytes STATIC_GATEWAY6 = hex("20 01 0d b8 00 77 00 00  00 00 00 00 00 00 00 01");
const Bytes AUTO_IP6 = hex("20 01 0d b8 00 01 00 00  00 00 00 00 00 00 00 0a"); // the first of the list
const Bytes AUTO_GATEWAY6 = hex("fe 80 00 00 00 00 00 00  00 00 00 00 00 00 00 01");

const Discovery DISCOVERIES[] = {
    {"all static",
     {{"management dhcp-status", "down"}},
     hex("01"),
     STATIC_SERVERS,
     hex("ff"),
     STATIC_IP6,
     STATIC_GATEWAY6,
     hex("00")},
    {"DHCP and IPv6 automatic",
     {{"management dhcp-status", "up"}, {"host dns-via-dhcp", "up"}, {"management ipv6-autoconfig-status", "up"}},
     hex("00"),
     LEARNT_SERVERS,
     hex("01"),
     AUTO_IP6,
     AUTO_GATEWAY6,
     hex("01")},
    {"static servers under DHCP, IPv6 off",
     {{"host dns-via-dhcp", std::nullopt}, {"management ipv6-status", "down"}},
     hex("01"),
     STATIC_SERVERS,
     hex("01"),
     zeros(16),
     zeros(16),
     hex("01")},
    {"switches are exactly up or down",
     {{"management dhcp-status", "UP"},
      {"host dns-via-dhcp", "Up"},
      {"management ipv6-status", "up "},
      {"management ipv6-autoconfig-status", "1"}},
     hex("01"),
     STATIC_SERVERS,
     hex("ff"),
     zeros(16),
     zeros(16),
     hex("00")},
};

Bytes discoverReply(const Discovery &is, const Bytes &tag, const Bytes &date)
{
    return hex("ee fe") + tag + hex("a1 00  02 4b 65 73 74 01  c0 a8 4d 0a  00 00  02 00  e3 01") + //
           text("Kestra AP", 64) + text("WLAN-EAP", 64) + text("KW-2210", 32) + text("4.2.0.9", 32) +
           hex("02 00  00 00 00 00  02 4b 65 73 74 01") + text("lobby", 64) + // type, hardware word, MAC
           hex("c0 a8 4d 0a  50 00  00") + is.dns +                           // address, web port
           hex("ff ff ff 00  c0 a8 4d fe") + is.servers + is.dhcp +           // mask, gateway
           date + zeros(2) + hex("00  00  00") +                              // date's end, two zeros, daylight saving
           text("AP", 32) + text("A1", 32) + text("", 32) + text("LAN1", 8) + //
           is.address6 + hex("40") + is.gateway6 + zeros(16) + zeros(16) + is.auto6 + hex("00");
}

TEST_F(BlackboxReplies, Announcement)
{
    launch();
    const Bytes expected = hex("ff ff  00 00  a0 00  02 4b 65 73 74 01  c0 a8 4d 0a  00 00  02 00  27 01") +
                           text("WLAN-EAP", 64) + text("AP", 32) + text("4.2.0.9", 32) + hex("02 4b 65 73 74 01") +
                           text("A1", 32) + text("", 32) + text("lobby", 64) + hex("c0 a8 4d 0a  ff ff ff 00") +
                           text("LAN1", 8) + hex("20 01 0d b8 00 77 00 00  00 00 00 00 00 00 00 10  40");
    ASSERT_EQ(expected.size(), 317u);
    EXPECT_TRUE(same(expected, announcement()));
}

TEST_F(BlackboxReplies, Discovery)
{
    AccessPoint &device = start();
    for (const Discovery &is : DISCOVERIES) {
        SCOPED_TRACE(is.strCase);
        device.store(is.settings);
        for (const Bytes &datagram : {request(0xA1, 0x5A01, {}, ALL, TO_ALL), request(0xA1, 0x5A01)}) {
            const std::string strBefore = device.run("date +%Y%m%d%H%M%S").strOut;
            const Bytes answer = ask(datagram);
            ASSERT_EQ(answer.size(), 505u);
            const Bytes date = answer.substr(DATE, DATE_DIGITS);
            EXPECT_THAT(date, testing::AllOf(testing::Ge(strBefore.substr(0, DATE_DIGITS)),
                                             testing::Le(device.run("date +%Y%m%d%H%M%S").strOut)));
            EXPECT_TRUE(same(discoverReply(is, hex("01 5a"), date), answer));
        }
    }
}

TEST_F(BlackboxReplies, Neighbour)
{
    start();
    const Bytes expected = hex("ee fe  ff 7f  d0 00  02 4b 65 73 74 01  c0 a8 4d 0a  00 00  02 00  e7 00") + //
                           hex("01") + text("WLAN-EAP", 64) + text("AP", 32) + text("4.2.0.9", 32) +
                           hex("02 4b 65 73 74 01") + text("lobby", 64) + hex("c0 a8 4d 0a  ff ff ff 00") +
                           hex("20 01 0d b8 00 77 00 00  00 00 00 00 00 00 00 10") + text("LAN1", 8);
    ASSERT_EQ(expected.size(), 253u);
    EXPECT_TRUE(same(expected, ask(request(0xD0, 0x7FFF, {}, ALL, TO_ALL))));
    EXPECT_TRUE(same(expected, ask(request(0xD0, 0x7FFF))));
}

TEST_F(BlackboxReplies, NetworkStatus)
{
    AccessPoint &device = start();
    const Bytes datagram = request(0xC9, 0x0102, CREDENTIALS);
    const Bytes header = hex("ee fe  02 01  c9 00  02 4b 65 73 74 01  c0 a8 4d 0a  00 00  02 00  14 00");
    EXPECT_TRUE(same(header + hex("00 00 00 00  c0 a8 4d 0a") + zeros(12), ask(datagram)));

    // A link-local address shows that DHCP gave none; whether DHCP is on does not matter.
    device.store({{"management ip", "169.254.3.4"}});
    const Bytes own = hex("02 4b 65 73 74 01  a9 fe 03 04");
    const Bytes expected =
        hex("ee fe  02 01  c9 00") + own + hex("00 00  02 00  14 00  01 00 00 00  a9 fe 03 04") + zeros(12);
    ASSERT_EQ(expected.size(), 42u);
    EXPECT_TRUE(same(expected, ask(request(0xC9, 0x0102, CREDENTIALS, own))));
}

TEST_F(BlackboxReplies, NetworkStatusWithoutBridge)
{
    start({.settings = standardSettings({{"management interface", "eth0"}}), .strInterface = "eth0"});
    EXPECT_TRUE(same(hex("ee fe  02 01  c9 00  02 4b 65 73 74 01  c0 a8 4d 0a  00 00  02 00  00 00"),
                     ask(request(0xC9, 0x0102, CREDENTIALS))));
}

TEST_F(BlackboxReplies, SupportedFunctions)
{
    start();
    const Bytes list = hex("a6 00 a7 00 aa 00 ab 00 ac 00 ad 00 c0 00 c9 00 d0 00 d1 00 d2 00 d4 00 d8 00"
                           "00 01 01 01 02 01 03 01  00 00"); // what is served beyond a1 to a5
    EXPECT_TRUE(same(hex("ee fe  03 00  a5 00  02 4b 65 73 74 01  c0 a8 4d 0a  00 00  02 00  24 00") + list,
                     ask(request(0xA5, 3, CREDENTIALS))));
    EXPECT_TRUE(same(hex("ee fe  03 00  a5 00  ff ff ff ff ff ff  00 00 00 00  00 00  02 00  24 00") + list,
                     ask(request(0xA5, 3, CREDENTIALS, ALL, TO_ALL))));
}

TEST_F(BlackboxReplies, UserVerification)
{
    start();
    const Bytes header = hex("ee fe  04 00  a3 00  02 4b 65 73 74 01  c0 a8 4d 0a  00 00  02 00  04 00");
    EXPECT_TRUE(same(header + hex("01 00 00 00"), ask(request(0xA3, 4, CREDENTIALS))));
    const Bytes guest = text("Z3Vlc3Q=", 64) + text("a2VzdHJlbC05", 64);
    EXPECT_TRUE(same(header + hex("02 00 00 00"), ask(request(0xA3, 4, guest))));
}

TEST_F(BlackboxReplies, Refusals)
{
    AccessPoint &device = start();
    const Bytes wrong = text("c3lzb3A=", 64) + text("d3Jvbmc=", 64); // "wrong"
    EXPECT_TRUE(same(hex("ee fe  05 00  a3 00  02 4b 65 73 74 01  c0 a8 4d 0a  02 00  02 00  00 00"),
                     ask(request(0xA3, 5, wrong))));
    EXPECT_TRUE(same(hex("ee fe  06 00  99 00  02 4b 65 73 74 01  c0 a8 4d 0a  03 00  02 00  00 00"),
                     ask(request(0x99, 6, CREDENTIALS))));
    EXPECT_TRUE(
        same(hex("ee fe  07 00  ff ff  02 4b 65 73 74 01  c0 a8 4d 0a  03 00  02 00  00 00"), ask(request(0xFFFF, 7))));
    EXPECT_EQ(device.out(), "pMsg->uOP_Code = 153 not support\npMsg->uOP_Code = 65535 not support\n");
}

} // namespace
