// SPDX-License-Identifier: Apache-2.0
#include "client/decode.h"

#include "client/fields.h"

namespace vxpctl
{
namespace
{

// A one-byte field with two known values; any other is null.
Record choice(std::uint8_t uValue, std::uint8_t uFirst, const Record &first, std::uint8_t uSecond, const Record &second)
{
    return uValue == uFirst ? first : uValue == uSecond ? second : Record(nullptr);
}

Record prefixLength(const std::uint8_t (&ucIP6)[16], std::uint8_t ucPrefix)
{
    return addressText(ucIP6).is_null() ? Record(nullptr) : Record(ucPrefix);
}

// What every kind of body tells.
template <typename Body>
Record identity(const Body &body)
{
    Record record;
    record["mac"] = macText(body.ucMAC);
    record["ip"] = addressText(body.ucIP);
    record["name"] = fieldRecord(body.strSystemName);
    record["product"] = fieldRecord(body.strProduct);
    record["category"] = fieldRecord(body.strCategory);
    record["version"] = fieldRecord(body.strVersion);
    record["alias"] = fieldRecord(body.strAlias);
    record["mask"] = addressText(body.ucMask);
    record["ipv6"] = addressText(body.ucIP6);
    return record;
}

} // namespace

Record toRecord(const DiscoverReply &body)
{
    Record record = identity(body);
    record["brand"] = fieldRecord(body.strBrand);
    record["model"] = fieldRecord(body.strModel);
    record["hardware_version"] = fieldRecord(body.strHardwareVersion);
    record["serial"] = fieldRecord(body.strSerial);
    record["product_type"] = body.uProductType.get();
    record["hardware_spec"] = body.uHardwareSpec.get();
    record["web_port"] = body.uWebPort.get();
    record["dhcp"] = choice(body.ucDHCP, 1, true, 0xFF, false);
    record["gateway"] = addressText(body.ucGateway);
    record["dns_mode"] = choice(body.ucDNS_Mode, 0, "dhcp", 1, "static");
    record["dns"] = addressList(body.ucDNS1, body.ucDNS2);
    record["ipv6_prefix"] = prefixLength(body.ucIP6, body.ucPrefix6);
    record["ipv6_gateway"] = addressText(body.ucGateway6);
    record["ipv6_dns"] = addressList(body.ucDNS6_1, body.ucDNS6_2);
    record["ipv6_auto"] = choice(body.ucAuto6, 1, true, 0, false);
    record["time"] = dateTimeText(fieldText(body.strDateTime));
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
    record["hardware_version"] = fieldRecord(body.strHardwareVersion);
    record["serial"] = fieldRecord(body.strSerial);
    record["ipv6_prefix"] = prefixLength(body.ucIP6, body.ucPrefix6);
    return record;
}

} // namespace vxpctl
