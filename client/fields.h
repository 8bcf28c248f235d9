// SPDX-License-Identifier: Apache-2.0
//
// Fields of message bodies, from and to what users see. Addresses of all zeros mean "none" and are null.
#ifndef VXP_CLIENT_FIELDS_H
#define VXP_CLIENT_FIELDS_H

#include "client/record.h"
#include "client/text.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace vxpctl
{

using MAC_Address = std::array<std::uint8_t, 6>;
using IPv4_Address = std::array<std::uint8_t, 4>;
using IPv6_Address = std::array<std::uint8_t, 16>;

Record macText(const std::uint8_t (&bytes)[6]);
Record addressText(const std::uint8_t (&bytes)[4]);
Record addressText(const std::uint8_t (&bytes)[16]);
std::string dotted(const IPv4_Address &address); // also when it is all zeros
// YYYYMMDDhhmmss as YYYY-MM-DDThh:mm:ss, the device's local time; what does not have 14 digits stays as it is.
Record dateTimeText(std::string_view digits);

// This host's time as ISO 8601 with the offset from UTC; with microseconds when these are given.
std::string timeText(std::time_t seconds, long microseconds = -1);

// Nothing when the text is no such address.
std::optional<MAC_Address> parseMac(const std::string &text); // 02:4b:65:73:74:01 or 02-4B-65-73-74-01
std::optional<IPv4_Address> parseIPv4(const std::string &text);
std::optional<IPv6_Address> parseIPv6(const std::string &text);

template <std::size_t size>
Record fieldRecord(const char (&field)[size])
{
    return validUtf8(fieldText(field));
}

template <std::size_t size>
Record addressList(const std::uint8_t (&first)[size], const std::uint8_t (&second)[size])
{
    Record list = Record::array();
    for (const Record &address : {addressText(first), addressText(second)})
        if (!address.is_null())
            list.push_back(address);
    return list;
}

template <std::size_t size>
void putBytes(std::uint8_t (&field)[size], const std::array<std::uint8_t, size> &bytes)
{
    std::memcpy(field, bytes.data(), size);
}

// False when the text does not fit; full says that the field needs no NUL at its end.
template <std::size_t size>
[[nodiscard]] bool putText(char (&field)[size], std::string_view text, bool full = false)
{
    if (text.size() + (full ? 0 : 1) > size)
        return false;
    std::memset(field, 0, size);
    std::memcpy(field, text.data(), text.size());
    return true;
}

} // namespace vxpctl

#endif
