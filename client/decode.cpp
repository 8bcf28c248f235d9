// SPDX-License-Identifier: Apache-2.0
#include "client/decode.h"

#include "client/text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <string>
#include <utility>

namespace vxpctl
{
namespace
{

template <std::size_t size>
Record text(const char (&field)[size])
{
    return validUtf8(fieldText(field));
}

template <std::size_t size>
bool isZero(const std::uint8_t (&bytes)[size])
{
    return std::all_of(bytes, bytes + size, [](std::uint8_t byte) { return byte == 0; });
}

Record macAddress(const std::uint8_t (&bytes)[6])
{
    char out[18];
    std::snprintf(out, sizeof out, "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4],
                  bytes[5]);
    return out;
}

// IPv4 for 4 bytes, IPv6 for 16.
template <std::size_t size>
Record address(const std::uint8_t (&bytes)[size])
{
    static_assert(size == 4 || size == 16);
    if (isZero(bytes))
        return nullptr;
    char out[INET6_ADDRSTRLEN];
    return inet_ntop(size == 4 ? AF_INET : AF_INET6, bytes, out, sizeof out);
}

template <std::size_t size>
Record addressList(const std::uint8_t (&first)[size], const std::uint8_t (&second)[size])
{
    Record list = Record::array();
    for (const auto *pBytes : {&first, &second})
        if (!isZero(*pBytes))
            list.push_back(address(*pBytes));
    return list;
}

// A one-byte field with two known values; any other is null.
Record choice(std::uint8_t uValue, std::uint8_t uFirst, const Record &first, std::uint8_t uSecond, const Record &second)
{
    return uValue == uFirst ? first : uValue == uSecond ? second : Record(nullptr);
}

// YYYYMMDDhhmmss as YYYY-MM-DDThh:mm:ss, the device's local time; what does not have 14 digits stays as it is.
template <std::size_t size>
Record dateTime(const char (&field)[size])
{
    const std::string_view digits = fieldText(field);
    if (digits.empty())
        return nullptr;
    if (digits.size() != 14 || digits.find_first_not_of("0123456789") != digits.npos)
        return validUtf8(digits);
    std::string out(digits);
    for (const auto &[position, mark] : {std::pair{12, ':'}, {10, ':'}, {8, 'T'}, {6, '-'}, {4, '-'}})
        out.insert(static_cast<std::size_t>(position), 1, mark);
    return out;
}

Record prefixLength(const std::uint8_t (&ucIP6)[16], std::uint8_t ucPrefix)
{
    return isZero(ucIP6) ? Record(nullptr) : Record(ucPrefix);
}

// What every kind of body tells.
template <typename Body>
Record identity(const Body &body)
{
    Record record;
    record["mac"] = macAddress(body.ucMAC);
    record["ip"] = address(body.ucIP);
    record["name"] = text(body.strSystemName);
    record["product"] = text(body.strProduct);
    record["category"] = text(body.strCategory);
    record["version"] = text(body.strVersion);
    record["alias"] = text(body.strAlias);
    record["mask"] = address(body.ucMask);
    record["ipv6"] = address(body.ucIP6);
    return record;
}

} // namespace

Record toRecord(const DiscoverReply &body)
{
    Record record = identity(body);
    record["brand"] = text(body.strBrand);
    record["model"] = text(body.strModel);
    record["hardware_version"] = text(body.strHardwareVersion);
    record["serial"] = text(body.strSerial);
    record["product_type"] = body.uProductType.get();
    record["hardware_spec"] = body.uHardwareSpec.get();
    record["web_port"] = body.uWebPort.get();
    record["dhcp"] = choice(body.ucDHCP, 1, true, 0xFF, false);
    record["gateway"] = address(body.ucGateway);
    record["dns_mode"] = choice(body.ucDNS_Mode, 0, "dhcp", 1, "static");
    record["dns"] = addressList(body.ucDNS1, body.ucDNS2);
    record["ipv6_prefix"] = prefixLength(body.ucIP6, body.ucPrefix6);
    record["ipv6_gateway"] = address(body.ucGateway6);
    record["ipv6_dns"] = addressList(body.ucDNS6_1, body.ucDNS6_2);
    record["ipv6_auto"] = choice(body.ucAuto6, 1, true, 0, false);
    record["time"] = dateTime(body.strDateTime);
    record["daylight_saving"] = body.ucDaylightSaving;
    record["alert"] = body.ucAlert;
    return record;
}

Record toRecord(const NeighborReply &body)
{
    return identity(body);
}

Record toRecord(const AnnouncementBody &body)
{
    Record record = identity(body);
    record["hardware_version"] = text(body.strHardwareVersion);
    record["serial"] = text(body.strSerial);
    record["ipv6_prefix"] = prefixLength(body.ucIP6, body.ucPrefix6);
    return record;
}

} // namespace vxpctl
