// SPDX-License-Identifier: Apache-2.0
#include "client/decode.h"

#include "frames.h"

#include <gtest/gtest.h>

using namespace vxpctl;

namespace
{

Record decode(const BodyFormat &format, const Frame &frame)
{
    EXPECT_EQ(frame.size(), headerSize + format.size);
    return format.decode(frame.data() + headerSize);
}

TEST(Decode, DiscoveryReplyFieldByField)
{
    Frame frame = discoverReply(1, 2, 9, "Hall \xC3\x84");
    put(frame, 22 + 0, "Kestra AP");
    put(frame, 22 + 64, "WLAN-EAP");
    put(frame, 22 + 192, "\x02");
    put(frame, 22 + 194, "\x01\x02\x03\x04");
    put(frame, 22 + 272, "\x50");
    frame[22 + 275] = 1;
    put(frame, 22 + 276, "\xFF\xFF\xFF");
    put(frame, 22 + 280, "\x0A\x01\x02\x01");
    put(frame, 22 + 288, "\x08\x08\x04\x04");
    put(frame, 22 + 293, "20240229235959");
    frame[22 + 311] = 1;
    put(frame, 22 + 312, "AP");
    put(frame, 22 + 344, "A1");
    put(frame, 22 + 408, "LAN1LAN1"); // fills its field: no NUL
    put(frame, 22 + 416, "\xFE\x80");
    frame[22 + 432] = 10;
    put(frame, 22 + 433, "\xFE\x81");
    put(frame, 22 + 449, "\xFD");
    frame[22 + 481] = 1;
    frame[22 + 482] = 7;

    EXPECT_EQ(decode(bodyFormat<DiscoverReply>, frame), Record::parse(R"({
        "mac": "02:11:22:33:44:09", "ip": "10.1.2.9", "name": "Hall Ä", "product": "WLAN-EAP", "category": "AP",
        "version": "4.1.0", "alias": "LAN1LAN1", "mask": "255.255.255.0", "ipv6": "fe80::", "brand": "Kestra AP",
        "model": "EAP-2100", "hardware_version": "A1", "serial": "", "product_type": 2, "hardware_spec": 67305985,
        "web_port": 80, "dhcp": false, "gateway": "10.1.2.1", "dns_mode": "static", "dns": ["8.8.4.4"],
        "ipv6_prefix": 10, "ipv6_gateway": "fe81::", "ipv6_dns": ["fd00::"], "ipv6_auto": true,
        "time": "2024-02-29T23:59:59", "daylight_saving": 1, "alert": 7})"));
}

TEST(Decode, WhatMeansNothingIsNull)
{
    Frame frame(headerSize + 483);
    frame[22 + 292] = 7; // neither on (1) nor off (0xFF)
    frame[22 + 275] = 7;
    frame[22 + 481] = 7;
    frame[22 + 432] = 64; // a prefix length without an address
    put(frame, 22 + 293, "yesterday");
    const Record record = decode(bodyFormat<DiscoverReply>, frame);
    for (const char *pName : {"ip", "mask", "gateway", "dhcp", "dns_mode", "ipv6", "ipv6_prefix", "ipv6_auto"})
        EXPECT_TRUE(record[pName].is_null()) << pName;
    EXPECT_EQ(record["dns"], Record::array());
    EXPECT_EQ(record["time"], "yesterday");
}

TEST(Decode, NeighborAndAnnouncement)
{
    EXPECT_EQ(decode(bodyFormat<NeighborReply>, neighborReply(1, 2, 9, "Hall")), Record::parse(R"({
        "mac": "02:11:22:33:44:09", "ip": "10.1.2.9", "name": "Hall", "product": "WLAN-EAP", "category": "AP",
        "version": "", "alias": "", "mask": null, "ipv6": null})"));
    EXPECT_EQ(decode(bodyFormat<AnnouncementBody>, announcement(9, "Hall")), Record::parse(R"({
        "mac": "02:11:22:33:44:09", "ip": "10.1.2.9", "name": "Hall", "product": "WLAN-EAP", "category": "",
        "version": "", "alias": "", "mask": null, "ipv6": "fd00::1", "hardware_version": "", "serial": "S-0001",
        "ipv6_prefix": 64})"));
}

} // namespace
