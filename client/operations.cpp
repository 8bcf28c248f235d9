// SPDX-License-Identifier: Apache-2.0
#include "client/operations.h"

#include "client/fields.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vxpctl
{
namespace
{

constexpr BodyFormat none{0, nullptr};
constexpr BodyFormat status = bodyFormat<status_t>;
constexpr std::size_t longestDatagram = 65535; // bytes
constexpr std::size_t secretMark = 3;          // asterisks: the same for every secret, so that its length is one too

std::vector<Range> keysOfRequest()
{
    std::vector<Range> ranges;
    for (std::size_t i = 0; i < VAP_COUNT; i++) {
        const std::size_t entry = offsetof(MultiSSID_Request, entries) + i * sizeof(VAP_Entry);
        ranges.push_back({entry + offsetof(VAP_Entry, strKey), sizeof(VAP_Entry::strKey)});
        // A long key runs on into the texts before the next entry's security setting, which the device ignores.
        ranges.push_back({entry, offsetof(VAP_Entry, strSecurity)});
    }
    ranges.push_back({sizeof(MultiSSID_Request), longestDatagram}); // where the last one runs on
    return ranges;
}

template <std::size_t size>
constexpr Range range(std::size_t offset, const char (&)[size])
{
    return {offset, size};
}

std::vector<Operation> makeOperations()
{
    const ChangeAdminRequest admin{};
    const NetAdvancedBody advanced{};
    const SNMP_Request snmp{};
    const std::vector<Range> newPassword{range(offsetof(ChangeAdminRequest, strPassword), admin.strPassword)};
    const std::vector<Range> ddns{range(offsetof(NetAdvancedBody, strPassword), advanced.strPassword)};
    const std::vector<Range> communities{range(offsetof(SNMP_Request, strReadOnly), snmp.strReadOnly),
                                         range(offsetof(SNMP_Request, strReadWrite), snmp.strReadWrite)};
    const std::vector<Range> keys{{offsetof(MultiSSID_Reply, entries), sizeof(MultiSSID_Reply::entries)}};
    // A query, and a start that asks what the device is doing, end behind the head.
    const BodyFormat start{sizeof(TransferHead), decodeTransferRequest}, transfer = bodyFormat<TransferReply>;
    // The request is the reply's record without the list of providers.
    const BodyFormat ddnsSettings{offsetof(NetAdvancedBody, ucProviderListLen), [](const std::uint8_t *pBody) {
                                      NetAdvancedBody body{};
                                      std::memcpy(&body, pBody, offsetof(NetAdvancedBody, ucProviderListLen));
                                      return toRecord(body);
                                  }};
    // code, name, authenticated, repeatable, request, reply
    return {
        {VXP_OP_ANNOUNCE, "announcement", false, true, none, bodyFormat<AnnouncementBody>},
        {VXP_OP_DISCOVER, "discover", false, true, none, bodyFormat<DiscoverReply>},
        {VXP_OP_SET_BASIC_INFO, "set basic information", true, true, bodyFormat<SetBasicInfoRequest>, status},
        {VXP_OP_USER_VERIFY, "verify user", true, true, none, bodyFormat<UserVerifyReply>},
        // The second time, the password that it comes with would be the old one.
        {VXP_OP_CHANGE_ADMIN, "change administrator", true, false, bodyFormat<ChangeAdminRequest>, status, newPassword},
        {VXP_OP_QUERY_SUPPORTED, "query supported functions", true, true, none, none},
        {VXP_OP_GET_NET_ADVANCED,
         "get advanced network settings",
         true,
         true,
         none,
         bodyFormat<NetAdvancedBody>,
         {},
         ddns},
        {VXP_OP_SET_NET_ADVANCED, "set advanced network settings", true, true, ddnsSettings, status, ddns},
        {VXP_OP_FACTORY_RESET_WITHOUT_IP, "factory reset, address kept", true, false, none, status},
        {VXP_OP_FACTORY_RESET, "factory reset", true, false, none, status},
        {VXP_OP_GET_DATE_TIME, "get date and time", true, true, none, bodyFormat<DateTimeBody>},
        {VXP_OP_SET_DATE_TIME, "set date and time", true, true, bodyFormat<DateTimeBody>, status},
        {VXP_OP_COMMIT_SETTINGS, "commit settings", true, true, none, status},
        // A device without the bridge interface answers without a body.
        {VXP_OP_QUERY_NET_STATUS, "query network status", true, true, none, none},
        {VXP_OP_QUERY_NEIGHBOR, "query neighbor", false, true, none, bodyFormat<NeighborReply>},
        {VXP_OP_SET_MULTI_SSID, "set wireless networks", true, true, bodyFormat<MultiSSID_Request>,
         bodyFormat<MultiSSID_Reply>, keysOfRequest()},
        {VXP_OP_VLAN_CONFIG, "set VLAN", true, true, bodyFormat<VLAN_Request>, status},
        {VXP_OP_SNMP_CONFIG, "set SNMP", false, true, bodyFormat<SNMP_Request>, status, communities},
        {VXP_OP_GET_MULTI_SSID, "get wireless networks", true, true, none, bodyFormat<MultiSSID_Reply>, {}, keys},
        {VXP_OP_FIRMWARE_UPGRADE, "upgrade firmware", false, false, start, transfer},
        {VXP_OP_CONFIG_BACKUP, "back up configuration", false, false, start, transfer},
        {VXP_OP_CONFIG_UPGRADE, "restore configuration", false, false, start, transfer},
        {VXP_OP_REBOOT, "reboot", false, false, none, status},
    };
}

const char *kindOf(const message_t &header)
{
    switch (header.uID) {
    case VXP_ID_REQUEST:
        return "request";
    case VXP_ID_REPLY:
        return "reply";
    case VXP_ID_ANNOUNCEMENT:
        return "announcement";
    default:
        return "unknown";
    }
}

const char *flagText(std::uint16_t uFlag)
{
    switch (uFlag) {
    case VXP_HANDLED:
        return "handled";
    case VXP_AUTH_FAILED:
        return "authentication failed";
    case VXP_NOT_SUPPORTED:
        return "not supported";
    default:
        return "unknown";
    }
}

// Where the body of the operation's own begins.
std::size_t requestOffset(const Operation &op)
{
    return sizeof(message_t) + (op.authenticated ? sizeof(Credentials) : 0);
}

struct Body {
    std::size_t offset;
    BodyFormat format;
};

Body bodyOf(const message_t &header, const Operation &op)
{
    if (header.uID == VXP_ID_REQUEST)
        return {requestOffset(op), op.request};
    const bool there = header.uID == VXP_ID_ANNOUNCEMENT || (header.uID == VXP_ID_REPLY && !header.uFlag);
    return {sizeof header, there ? op.reply : none};
}

void cover(std::vector<std::uint8_t> &datagram, std::size_t offset, std::size_t size)
{
    for (std::size_t i = offset; i < std::min(offset + size, datagram.size()); i++)
        datagram[i] = i < offset + secretMark ? std::uint8_t{'*'} : std::uint8_t{0};
}

} // namespace

const std::vector<Operation> &operations()
{
    static const std::vector<Operation> all = makeOperations();
    return all;
}

const Operation *findOperation(std::uint16_t uCode)
{
    const auto found = std::find_if(operations().begin(), operations().end(),
                                    [uCode](const Operation &op) { return op.uCode == uCode; });
    return found == operations().end() ? nullptr : &*found;
}

const Operation &operation(std::uint16_t uCode)
{
    return *findOperation(uCode);
}

std::vector<std::uint8_t> withoutSecrets(Bytes datagram)
{
    std::vector<std::uint8_t> out(datagram.begin(), datagram.end());
    const auto header = readHeader(datagram);
    const Operation *pOperation = header ? findOperation(header->uOP_Code) : nullptr;
    if (!pOperation)
        return out;
    // A damaged message may be of either kind.
    if (header->uID != VXP_ID_REPLY) {
        if (pOperation->authenticated)
            cover(out, sizeof(message_t) + offsetof(Credentials, strPassword), sizeof(Credentials::strPassword));
        for (const Range &secret : pOperation->requestSecrets)
            cover(out, requestOffset(*pOperation) + secret.offset, secret.size);
    }
    if (header->uID != VXP_ID_REQUEST)
        for (const Range &secret : pOperation->replySecrets)
            cover(out, sizeof(message_t) + secret.offset, secret.size);
    return out;
}

Record describeDatagram(Bytes datagram)
{
    Record record;
    record["length"] = datagram.size();
    const auto header = readHeader(datagram);
    if (!header)
        return record;
    const Operation *pOperation = findOperation(header->uOP_Code);
    char code[8];
    std::snprintf(code, sizeof code, "0x%04x", header->uOP_Code);
    record["kind"] = kindOf(*header);
    record["operation"] = pOperation ? Record(pOperation->name) : Record(nullptr);
    record["code"] = code;
    record["tag"] = header->uReqTag;
    record["mac"] = macText(header->ucMAC);
    record["ip"] = addressText(header->ucIP);
    if (header->uID == VXP_ID_REPLY)
        record["outcome"] = flagText(header->uFlag);
    else
        record["addressed_to"] = header->uFlag == VXP_TO_ONE ? "one" : "all";
    if (!pOperation)
        return record;
    const auto [offset, format] = bodyOf(*header, *pOperation);
    if (!format.size || datagram.size() < offset + format.size)
        return record;
    // What is not there is zero, as devices see it.
    std::vector<std::uint8_t> body(std::max<std::size_t>(datagram.size(), VXP_BUFFER_SIZE));
    std::copy(datagram.begin() + static_cast<std::ptrdiff_t>(offset), datagram.end(), body.begin());
    record["body"] = format.decode(body.data());
    return record;
}

std::string problemOf(Bytes datagram)
{
    const auto header = readHeader(datagram);
    if (!header)
        return "shorter than a header of " + std::to_string(sizeof(message_t)) + " bytes";
    const std::string kind = kindOf(*header);
    if (kind == "unknown")
        return "no message of this protocol";
    const Operation *pOperation = findOperation(header->uOP_Code);
    if (!pOperation)
        return "no known operation";
    const std::size_t size = datagram.size() - sizeof *header;
    const auto [offset, format] = bodyOf(*header, *pOperation);
    if (datagram.size() < offset + format.size)
        return "cut off: a body of " + std::to_string(size) + " bytes, where this " + kind + " has " +
               std::to_string(offset + format.size - sizeof *header);
    if (header->uBodyLen != size)
        return "the header tells of " + std::to_string(header->uBodyLen) + " bytes of body, and there are " +
               std::to_string(size);
    return "";
}

std::string hex(Bytes bytes)
{
    std::string text;
    char digits[4];
    for (const std::uint8_t byte : bytes) {
        std::snprintf(digits, sizeof digits, "%s%02x", text.empty() ? "" : " ", byte);
        text += digits;
    }
    return text;
}

} // namespace vxpctl
