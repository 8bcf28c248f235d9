// SPDX-License-Identifier: Apache-2.0
//
// What replies make of settings that are long, odd or missing.
#include "tests/blackbox/driver.h"

namespace
{

using BlackboxValues = Blackbox;

struct Value {
    const char *strCase;
    const char *strField;
    std::string strValue;
    size_t uOffset; // in a neighbour or discovery reply, header included
    Bytes expected; // there, with a byte of the field's neighbours where they could be overwritten
};

const std::string LONG(1000, 'n');

// After the header: name 135, version 97, MAC 129, address 199, mask 203, IPv6 207.
const Value NEIGHBOUR[] = {
    {"long name", "system system-name", LONG, 156, hex("01") + Bytes(63, 'n') + hex("00 c0 a8 4d 0a")},
    {"name of 63", "system system-name", std::string(63, 'x'), 157, Bytes(63, 'x') + hex("00 c0")},
    {"name of 64", "system system-name", std::string(64, 'x'), 157, Bytes(63, 'x') + hex("00 c0")},
    {"conversions", "system system-name", "%n%s%%%1000d", 157, text("%n%s%%%1000d", 64)},
    {"not ASCII", "system system-name",
     "K\xc3\xbc"
     "che\x01\xff\n",
     157,
     text("K\xc3\xbc"
          "che\x01\xff\n",
          64)},
    {"empty name", "system system-name", "", 157, zeros(64)},
    {"long version", "system version", LONG, 118, hex("00") + Bytes(31, 'n') + hex("00 02 4b")},
    {"upper-case MAC", "management mac", "02:4B:AF:73:74:FE", 151, hex("02 4b af 73 74 fe") + "l"},
    {"MAC without colons", "management mac", "024b65737401", 151, hex("02 00 00 00 00 00") + "l"},
    {"MAC cut short", "management mac", "02:4b:g5:73:74:01", 151, hex("02 4b 00 00 00 00") + "l"},
    {"long MAC", "management mac", "02:4b:65:73:74:01" + LONG, 151, hex("02 4b 65 73 74 01") + "l"},
    {"octal, too big, no number", "management ip", "010.300.1.x", 221, hex("0a 2c 01 00  ff ff ff 00")},
    {"five numbers", "management ip", "1.2.3.4.5", 221, hex("01 02 03 04  ff ff ff 00")},
    {"blanks and signs", "management ip", " 1. +2.-1.4 ", 221, hex("01 02 ff 04")},
    {"no address", "management ip", "none", 221, hex("00 00 00 00  ff ff ff 00")},
    {"long address", "management ip", std::string(30, '0') + "1.2.3.4", 221, hex("01 00 00 00")}, // cut at 31
    {"mask with a hole", "management mask", "1.2.x.4", 225, hex("01 02 00 00  20 01")},
    {"empty mask", "management mask", "", 225, hex("00 00 00 00  20 01")},
    {"two IPv6 addresses", "management static-ipv6", "fd00::1 fd00::2", 229,
     hex("fd") + zeros(14) + hex("01") + "LAN1"},
    {"two lines", "management static-ipv6", "fd00::3\nfd00::4", 229, hex("fd") + zeros(14) + hex("03") + "LAN1"},
    {"IPv6 cut at 45", "management static-ipv6", "fd00::5" + std::string(38, ' ') + LONG, 229,
     hex("fd") + zeros(14) + hex("05")},
    {"unreadable IPv6", "management static-ipv6", "fd00::1/64", 229, zeros(16) + "LAN1"},
    {"long IPv6", "management static-ipv6", LONG, 229, zeros(16) + "LAN1"},
};

// After the header: model 128, MAC 198, gateway 280, DNS 284 and 288, prefix 432, IPv6 gateway 433.
const Value DISCOVERY[] = {
    {"long model", "system model", LONG, 22 + 127, hex("00") + Bytes(31, 'n') + hex("00") + "4.2"},
    {"long version", "system version", LONG, 22 + 160, Bytes(31, 'n') + hex("00 02 00")},
    {"long name", "system system-name", LONG, 22 + 203, hex("01") + Bytes(63, 'n') + hex("00 c0 a8 4d 0a")},
    {"gateway", "ip-route gateway", "256.1", 22 + 280, hex("00 01 00 00  c0 00")},
    {"empty gateway", "ip-route gateway", "", 22 + 280, hex("00 00 00 00  c0 00")},
    {"first DNS server", "host static-dns-1", "1.2.x.4", 22 + 284, hex("01 02 00 00  c0 00")},
    {"second DNS server", "host static-dns-2", "%s.%n", 22 + 288, hex("00 00 00 00  ff")},
    {"prefix beyond a byte", "management static-ipv6-prefix-length", "300", 22 + 432, hex("2c 20 01")},
    {"negative prefix", "management static-ipv6-prefix-length", "-1", 22 + 432, hex("ff 20 01")},
    {"prefix and text", "management static-ipv6-prefix-length", " 48/x", 22 + 432, hex("30 20 01")},
    {"no prefix", "management static-ipv6-prefix-length", "", 22 + 432, hex("00 20 01")},
    {"IPv6 gateway with a blank", "static-ipv6-route gateway", "fe80::1 ", 22 + 433, zeros(16)},
};

TEST_F(BlackboxValues, InReplies)
{
    AccessPoint &device = start();
    const auto checkAll = [&](const auto &table, uint16_t uOperation, size_t uSize) {
        for (const Value &value : table) {
            SCOPED_TRACE(value.strCase);
            device.store({{value.strField, value.strValue}});
            const Bytes answer = ask(request(uOperation, 1, {}, ALL, TO_ALL));
            ASSERT_EQ(answer.size(), uSize);
            EXPECT_TRUE(same(value.expected, answer.substr(value.uOffset, value.expected.size())));
            device.store({{value.strField, standardSettings()[value.strField]}});
        }
    };
    checkAll(NEIGHBOUR, 0xD0, 253);
    checkAll(DISCOVERY, 0xA1, 505);
}

TEST_F(BlackboxValues, LongTextsInTheAnnouncement)
{
    launch({.settings = standardSettings({{"system system-name", LONG}, {"system version", LONG}})});
    const Bytes frame = announcement();
    ASSERT_EQ(frame.size(), 317u);
    EXPECT_TRUE(same(Bytes(31, 'n') + hex("00  02 4b 65 73 74 01  41 31"), frame.substr(22 + 96, 40)));
    EXPECT_TRUE(same(hex("00") + Bytes(63, 'n') + hex("00  c0 a8 4d 0a"), frame.substr(22 + 197, 69)));
}

TEST_F(BlackboxValues, EmptyStore)
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
