// SPDX-License-Identifier: Apache-2.0
//
// Datagrams as devices send them, byte by byte and by offset, so that the client's own records are not tested
// against themselves.
#ifndef VXP_TESTS_CLIENT_FRAMES_H
#define VXP_TESTS_CLIENT_FRAMES_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

using Frame = std::vector<std::uint8_t>;

constexpr std::size_t headerSize = 22;

inline void put(Frame &frame, std::size_t offset, const std::string &bytes)
{
    std::copy(bytes.begin(), bytes.end(), frame.begin() + static_cast<std::ptrdiff_t>(offset));
}

inline Frame header(Frame first, std::size_t bodySize)
{
    first.resize(headerSize + bodySize);
    first[18] = 2;
    first[20] = static_cast<std::uint8_t>(bodySize);
    first[21] = static_cast<std::uint8_t>(bodySize >> 8);
    return first;
}

// tagLow and tagHigh are bytes 2 and 3 of the request; last is the last byte of the MAC and of the IPv4 address.
inline Frame discoverReply(std::uint8_t tagLow, std::uint8_t tagHigh, std::uint8_t last, const std::string &name)
{
    Frame frame = header({0xEE, 0xFE, tagLow, tagHigh, 0xA1, 0x00}, 483);
    const char end = static_cast<char>(last);
    put(frame, 22 + 128, "EAP-2100");
    put(frame, 22 + 160, "4.1.0");
    put(frame, 22 + 198, std::string("\x02\x11\x22\x33\x44") + end);
    put(frame, 22 + 204, name);
    put(frame, 22 + 268, std::string("\x0A\x01\x02") + end);
    frame[22 + 292] = 0xFF;
    return frame;
}

inline Frame neighborReply(std::uint8_t tagLow, std::uint8_t tagHigh, std::uint8_t last, const std::string &name)
{
    Frame frame = header({0xEE, 0xFE, tagLow, tagHigh, 0xD0, 0x00}, 231);
    const char end = static_cast<char>(last);
    frame[22] = 1;
    put(frame, 22 + 1, "WLAN-EAP");
    put(frame, 22 + 65, "AP");
    put(frame, 22 + 129, std::string("\x02\x11\x22\x33\x44") + end);
    put(frame, 22 + 135, name);
    put(frame, 22 + 199, std::string("\x0A\x01\x02") + end);
    return frame;
}

inline Frame announcement(std::uint8_t last, const std::string &name)
{
    Frame frame = header({0xFF, 0xFF, 0, 0, 0xA0, 0x00}, 295);
    const char end = static_cast<char>(last);
    put(frame, 22 + 0, "WLAN-EAP");
    put(frame, 22 + 128, std::string("\x02\x11\x22\x33\x44") + end);
    put(frame, 22 + 166, "S-0001");
    put(frame, 22 + 198, name);
    put(frame, 22 + 262, std::string("\x0A\x01\x02") + end);
    put(frame, 22 + 278, std::string("\xFD\x00", 2));
    frame[22 + 278 + 15] = 1;
    frame[22 + 294] = 64;
    return frame;
}

#endif
