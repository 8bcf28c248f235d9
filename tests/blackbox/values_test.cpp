// SPDX-License-Identifier: Apache-2.0
//
// What replies make of settings that are long, odd or missing.
#include "tests/blackbox/driver.h"

namespace
{

using BlackboxValues = Blackbox;

struct Value {
    const char *strCase;
    int iOperation;
    const char *strField;
    std::string strValue;
    size_t uOffset; // in the body of the reply
    Bytes expected; // there, with a byte of the field's neighbours where they could be overwritten
};

const std::string LONG(1000, 'n');

const Value VALUES[] = {
    {"long name", 0xD0, "system system-name", LONG, 134, hex("01") + Bytes(63, 'n') + hex("00 c0 a8 4d 0a")},
    {"conversions", 0xD0, "system system-name", "%n%s%%%1000d", 135, text("%n%s%%%1000d", 64)},
    {"long version", 0xD0, "system version", LONG, 96, hex("00") + Bytes(31, 'n') + hex("00 02 4b")},
    {"long MAC", 0xD0, "management mac", "02:4b:65:73:74:01" + LONG, 129, hex("02 4b 65 73 74 01") + "l"},
    {"address cut at 31", 0xD0, "management ip", std::string(30, '0') + "1.2.3.4", 199, hex("01 00 00 00 ff")},
    {"two IPv6 addresses", 0xD0, "management static-ipv6", "fd00::1 fd00::2", 207,
     hex("fd") + zeros(14) + hex("01") + "LAN1"},
    {"two lines", 0xD0, "management static-ipv6", "fd00::3\nfd00::4", 207, hex("fd") + zeros(14) + hex("03")},
    {"IPv6 cut at 45", 0xD0, "management static-ipv6", "fd00::5" + std::string(38, ' ') + LONG, 207,
     hex("fd") + zeros(14) + hex("05")},
    {"unreadable IPv6", 0xD0, "management static-ipv6", "fd00::1/64", 207, zeros(16) + "LAN1"},
    {"long model", 0xA1, "system model", LONG, 127, hex("00") + Bytes(31, 'n') + hex("00") + "4.2"},
    {"prefix beyond a byte", 0xA1, "management static-ipv6-prefix-length", "300", 432, hex("2c 20 01")},
    {"IPv6 gateway with a blank", 0xA1, "static-ipv6-route gateway", "fe80::1 ", 433, zeros(16)},
};

TEST_F(BlackboxValues, InReplies)
{
    AccessPoint &device = start();
    for (const Value &is : VALUES) {
        SCOPED_TRACE(is.strCase);
        device.store({{is.strField, is.strValue}});
        const Bytes answer = ask(request(is.iOperation, 1, {}, ALL, TO_ALL));
        EXPECT_TRUE(same(is.expected, answer.substr(22 + is.uOffset, is.expected.size())));
        device.store({{is.strField, standardSettings()[is.strField]}});
    }
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
