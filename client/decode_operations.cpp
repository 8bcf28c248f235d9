// SPDX-License-Identifier: Apache-2.0
//
// The bodies of the operations that administer a device. Secrets are covered before anything is decoded for people
// (client/operations.h), so that each field can be shown as it is.
#include "client/decode.h"

#include "client/fields.h"

#include <string>

namespace vxpctl
{
namespace
{

Record networks(const VAP_Entry (&entries)[VAP_COUNT])
{
    Record list = Record::array();
    for (std::size_t i = 0; i < VAP_COUNT; i++)
        list.push_back({{"network", i},
                        {"ssid", fieldRecord(entries[i].strSSID)},
                        {"vlan", fieldRecord(entries[i].strVLAN)},
                        {"security", fieldRecord(entries[i].strSecurity)},
                        {"key", fieldRecord(entries[i].strKey)}});
    return list;
}

} // namespace

Record toRecord(const UserVerifyReply &body)
{
    return {{"result", body.uResult.get()}};
}

Record toRecord(const NetStatusReply &body)
{
    return {{"link_local", body.uDHCP_State.get() == 1}, {"ip", addressText(body.ucIP)}};
}

Record toRecord(const SetBasicInfoRequest &body)
{
    return {{"name", fieldRecord(body.strSystemName)},
            {"dhcp", body.ucDHCP != 0},
            {"ip", addressText(body.ucIP)},
            {"mask", addressText(body.ucMask)},
            {"gateway", addressText(body.ucGateway)},
            {"web_port", body.uWebPort.get()},
            {"dns_mode", body.ucManualDNS ? "static" : "dhcp"},
            {"dns", addressList(body.ucDNS1, body.ucDNS2)},
            {"ipv6_auto", body.uDHCP_Setting6 != 0},
            {"ipv6", addressText(body.ucIP6)},
            {"ipv6_prefix", body.ucPrefix6},
            {"ipv6_gateway", addressText(body.ucGateway6)}};
}

Record toRecord(const ChangeAdminRequest &body)
{
    return {{"user", fieldRecord(body.strUser)}, {"password", fieldRecord(body.strPassword)}};
}

Record toRecord(const DateTimeBody &body)
{
    return {{"time", dateTimeText(fieldText(body.strDateTime))},
            {"time_zone", body.ucTimeZone},
            {"daylight_saving", body.ucDaylightSaving != 0},
            {"ntp", body.ucNTP != 0},
            {"ntp_server", fieldRecord(body.strNTP_Server)}};
}

Record toRecord(const NetAdvancedBody &body)
{
    return {{"ddns", (body.ucFlags & DDNS_BIT) != 0},
            {"ddns_connected", (body.ucStatus & DDNS_BIT) != 0},
            {"ddns_provider", body.ucProvider},
            {"ddns_user", fieldRecord(body.strUser)},
            {"ddns_password", fieldRecord(body.strPassword)},
            {"ddns_domain", fieldRecord(body.strDomain)},
            {"ddns_providers", fieldRecord(body.strProviderList)}};
}

Record toRecord(const MultiSSID_Request &body)
{
    return {{"networks", networks(body.entries)}};
}

Record toRecord(const MultiSSID_Reply &body)
{
    return {{"networks", networks(body.entries)}};
}

Record toRecord(const VLAN_Request &body)
{
    return {{"vlan", body.uVLAN.get()}, {"option1", body.ucOption1 != 0}, {"option2", body.ucOption2 != 0}};
}

Record toRecord(const SNMP_Request &body)
{
    return {{"snmp", body.ucState != 0},
            {"read_community", fieldRecord(body.strReadOnly)},
            {"write_community", fieldRecord(body.strReadWrite)}};
}

Record decodeTransferRequest(const std::uint8_t *pBody)
{
    TransferStart4 start;
    TransferStart6 start6;
    std::memcpy(&start, pBody, sizeof start);
    std::memcpy(&start6, pBody, sizeof start6);
    const auto &[ucSubService, ucServerType, ucAddressType] = start.head;
    const bool is6 = ucAddressType == ADDRESS_IPV6;
    Record record{{"sub_service", ucSubService}, {"server_type", ucServerType}, {"address_type", ucAddressType}};
    if (ucSubService == SST_START && ucServerType) {
        record["server"] = is6 ? addressText(start6.ucIP6) : addressText(start.ucIP);
        record["file"] = is6 ? fieldRecord(start6.strFile) : fieldRecord(start.strFile);
    }
    return record;
}

Record toRecord(const TransferReply &body)
{
    return {{"sub_service", body.ucSubService}, {"result", body.ucResult}, {"message", fieldRecord(body.strMessage)}};
}

Record toRecord(const status_t &body)
{
    return {{"status", swapLe32(body.uStatus)}};
}

} // namespace vxpctl
