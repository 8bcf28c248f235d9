// SPDX-License-Identifier: Apache-2.0
//
// Datagrams as devices send them, byte by byte and by offset, so that the client's own records are not tested
// against themselves. A device's MAC and IPv4 address end in the first letter of its name: "Hall" is 02:11:22:33:44:48
// and 10.1.2.72.
#ifndef VXP_TESTS_CLIENT_FRAMES_H
#define VXP_TESTS_CLIENT_FRAMES_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

using Frame = std::vector<std::uint8_t>;

// offset counts from the start of the body.
inline void put(Frame &frame, std::size_t offset, const std::string &bytes)
{
    std::copy(bytes.begin(), bytes.end(), frame.begin() + static_cast<std::ptrdiff_t>(22 + offset));
}

inline Frame device(Frame header, std::size_t bodySize, std::size_t nameAt, std::size_t macAt, std::size_t ipAt,
                    const std::string &name)
{
    header.resize(22 + bodySize);
    put(header, nameAt, name);
    put(header, macAt, "\x02\x11\x22\x33\x44" + name.substr(0, 1));
    put(header, ipAt, "\x0A\x01\x02" + name.substr(0, 1));
    return header;
}

inline Frame discoverReply(const Frame &request, const std::string &name)
{
    Frame frame = device({0xEE, 0xFE, request[2], request[3], 0xA1, 0x00}, 483, 204, 198, 268, name);
    put(frame, 128, "EAP-2100");
    put(frame, 160, "4.1.0");
    put(frame, 292, "\xFF");
    return frame;
}

inline Frame neighborReply(const Frame &request, const std::string &name)
{
    Frame frame = device({0xEE, 0xFE, request[2], request[3], 0xD0, 0x00}, 231, 135, 129, 199, name);
    put(frame, 0, "\x01WLAN-EAP");
    put(frame, 65, "AP");
    return frame;
}

// To a request for whichever of the two.
inline Frame reply(const Frame &request, const std::string &name)
{
    return request[4] == 0xD0 ? neighborReply(request, name) : discoverReply(request, name);
}

inline Frame announcement(const std::string &name)
{
    Frame frame = device({0xFF, 0xFF, 0, 0, 0xA0, 0x00}, 295, 198, 128, 262, name);
    put(frame, 0, "WLAN-EAP");
    put(frame, 166, "S-0001");
    put(frame, 278, "\xFD");
    put(frame, 294, "\x40");
    return frame;
}

#endif
