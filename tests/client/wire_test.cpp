// SPDX-License-Identifier: Apache-2.0
#include "client/decode.h"
#include "client/protocol.h"

#include "frames.h"

#include <gtest/gtest.h>

using namespace vxpctl;

namespace
{

const Frame request{0xFD, 0xFD, 0x34, 0x12, 0xA1, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                    0xFF, 0,    0,    0,    0,    0,    0,    2,    0,    0,    0};

Record decode(const BodyFormat &format, const Frame &frame)
{
    EXPECT_EQ(frame.size(), 22 + format.size);
    return format.decode(frame.data() + 22);
}

TEST(Wire, BroadcastRequestByteByByte)
{
    const RequestBytes bytes = makeBroadcastRequest(0x00A1, 0x1234);
    EXPECT_EQ(Frame(bytes.begin(), bytes.end()), request);
}

TEST(Wire, DiscoveryReplyFieldByField)
{
    Frame frame = discoverReply(request, "Hall \xC3\x84");
    const auto text = [](std::string bytes, std::size_t size) { return bytes.resize(size), bytes; };
    put(frame, 0, text("Kestra AP", 64) + "WLAN-EAP");
    put(frame, 192, text("\x02", 2) + "\x01\x02\x03\x04");
    put(frame, 272, text("\x50", 3) + text("\x01\xFF\xFF\xFF", 5) + text("\x0A\x01\x02\x01", 8) + "\x08\x08\x04\x04");
    put(frame, 293, text("20240229235959", 18) + "\x01" + text("AP", 32) + text("A1", 64));
    put(frame, 408, "LAN1LAN1" + text("\xFE\x80", 16) + "\x0A" + text("\xFE\x81", 16)); // the alias has no NUL
    put(frame, 449, text("\xFD", 32) + "\x01\x07");
    EXPECT_EQ(decode(bodyFormat<DiscoverReply>, frame), Record::parse(R"({
        "mac": "02:11:22:33:44:48", "ip": "10.1.2.72", "name": "Hall Ä", "product": "WLAN-EAP", "category": "AP",
        "version": "4.1.0", "alias": "LAN1LAN1", "mask": "255.255.255.0", "ipv6": "fe80::", "brand": "Kestra AP",
        "model": "EAP-2100", "hardware_version": "A1", "serial": "", "product_type": 2, "hardware_spec": 67305985,
        "web_port": 80, "dhcp": false, "gateway": "10.1.2.1", "dns_mode": "static", "dns": ["8.8.4.4"],
        "ipv6_prefix": 10, "ipv6_gateway": "fe81::", "ipv6_dns": ["fd00::"], "ipv6_auto": true,
        "time": "2024-02-29T23:59:59", "daylight_saving": 1, "alert": 7})"));
}

TEST(Wire, WhatMeansNothingIsNull)
{
    Frame frame(22 + 483);
    put(frame, 293, "yesterday");
    for (const std::size_t unknownSwitch : {275U, 292U, 481U})
        put(frame, unknownSwitch, "\x07");
    put(frame, 432, "\x40"); // a prefix length without an address
    const Record record = decode(bodyFormat<DiscoverReply>, frame);
    for (const char *pName : {"ip", "mask", "gateway", "dhcp", "dns_mode", "ipv6", "ipv6_prefix", "ipv6_auto"})
        EXPECT_TRUE(record[pName].is_null()) << pName;
    EXPECT_EQ(record["dns"], Record::array());
    EXPECT_EQ(record["time"], "yesterday");
}

TEST(Wire, NeighborReplyAndAnnouncement)
{
    EXPECT_EQ(decode(bodyFormat<NeighborReply>, neighborReply(request, "Hall")), Record::parse(R"({
        "mac": "02:11:22:33:44:48", "ip": "10.1.2.72", "name": "Hall", "product": "WLAN-EAP", "category": "AP",
        "version": "", "alias": "", "mask": null, "ipv6": null})"));
    EXPECT_EQ(decode(bodyFormat<AnnouncementBody>, announcement("Hall")), Record::parse(R"({
        "mac": "02:11:22:33:44:48", "ip": "10.1.2.72", "name": "Hall", "product": "WLAN-EAP", "category": "",
        "version": "", "alias": "", "mask": null, "ipv6": "fd00::", "hardware_version": "", "serial": "S-0001",
        "ipv6_prefix": 64})"));
}

} // namespace
