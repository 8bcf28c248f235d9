// SPDX-License-Identifier: Apache-2.0
#include "client/fields.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cstdio>
#include <utility>

namespace vxpctl
{
namespace
{

template <std::size_t size>
Record ipText(const std::uint8_t (&bytes)[size])
{
    static_assert(size == 4 || size == 16);
    if (std::all_of(bytes, bytes + size, [](std::uint8_t byte) { return byte == 0; }))
        return nullptr;
    char out[INET6_ADDRSTRLEN];
    return inet_ntop(size == 4 ? AF_INET : AF_INET6, bytes, out, sizeof out);
}

} // namespace

Record macText(const std::uint8_t (&bytes)[6])
{
    char out[18];
    std::snprintf(out, sizeof out, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4],
                  bytes[5]);
    return out;
}

Record addressText(const std::uint8_t (&bytes)[4])
{
    return ipText(bytes);
}

Record addressText(const std::uint8_t (&bytes)[16])
{
    return ipText(bytes);
}

std::string timeText(std::time_t seconds, long microseconds)
{
    std::tm local{};
    localtime_r(&seconds, &local);
    char time[24], offset[8], fraction[24] = "";
    std::strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%S", &local);
    std::strftime(offset, sizeof offset, "%z", &local);
    if (microseconds >= 0)
        std::snprintf(fraction, sizeof fraction, ".%06ld", microseconds);
    return time + std::string(fraction) + std::string(offset).insert(3, ":");
}

std::string dotted(const IPv4_Address &address)
{
    char out[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, address.data(), out, sizeof out);
}

Record dateTimeText(std::string_view digits)
{
    if (digits.empty())
        return nullptr;
    if (digits.size() != 14 || digits.find_first_not_of("0123456789") != digits.npos)
        return validUtf8(digits);
    std::string out(digits);
    for (const auto &[position, mark] : {std::pair{12, ':'}, {10, ':'}, {8, 'T'}, {6, '-'}, {4, '-'}})
        out.insert(static_cast<std::size_t>(position), 1, mark);
    return out;
}

std::optional<MAC_Address> parseMac(const std::string &text)
{
    if (text.size() != 17)
        return std::nullopt;
    MAC_Address mac{};
    for (std::size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        if (i % 3 == 2 ? c != text[2] || (c != ':' && c != '-') : !isxdigit(static_cast<unsigned char>(c)))
            return std::nullopt;
        if (i % 3 == 0)
            mac[i / 3] = static_cast<std::uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16));
    }
    return mac;
}

std::optional<IPv4_Address> parseIPv4(const std::string &text)
{
    IPv4_Address address{};
    return inet_pton(AF_INET, text.c_str(), address.data()) == 1 ? std::optional(address) : std::nullopt;
}

std::optional<IPv6_Address> parseIPv6(const std::string &text)
{
    IPv6_Address address{};
    return inet_pton(AF_INET6, text.c_str(), address.data()) == 1 ? std::optional(address) : std::nullopt;
}

} // namespace vxpctl
