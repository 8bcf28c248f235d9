// SPDX-License-Identifier: Apache-2.0
#include "client/protocol.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace vxpctl
{

std::optional<message_t> readHeader(Bytes datagram)
{
    message_t header;
    if (datagram.size() < sizeof header)
        return std::nullopt;
    std::memcpy(&header, datagram.data(), sizeof header);
    message_to_CPU(&header);
    return header;
}

RequestBytes makeBroadcastRequest(std::uint16_t uOP_Code, std::uint16_t uReqTag)
{
    message_t header{};
    header.uID = VXP_ID_REQUEST;
    header.uReqTag = uReqTag;
    header.uOP_Code = uOP_Code;
    std::fill(std::begin(header.ucMAC), std::end(header.ucMAC), std::uint8_t{0xFF});
    header.uFlag = VXP_TO_ALL;
    header.uVersion = VXP_VERSION;
    message_to_LE(&header);
    RequestBytes bytes;
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes;
}

std::vector<std::uint8_t> makeRequest(std::uint16_t uOP_Code, std::uint16_t uReqTag, const std::uint8_t *pMAC,
                                      const std::uint8_t *pIP, Bytes body)
{
    message_t header{};
    header.uID = VXP_ID_REQUEST;
    header.uReqTag = uReqTag;
    header.uOP_Code = uOP_Code;
    std::memcpy(header.ucMAC, pMAC, sizeof header.ucMAC);
    std::memcpy(header.ucIP, pIP, sizeof header.ucIP);
    header.uFlag = VXP_TO_ONE;
    header.uVersion = VXP_VERSION;
    header.uBodyLen = static_cast<std::uint16_t>(body.size());
    message_to_LE(&header);
    std::vector<std::uint8_t> bytes(sizeof header + body.size());
    std::memcpy(bytes.data(), &header, sizeof header);
    std::copy(body.begin(), body.end(), bytes.begin() + sizeof header);
    return bytes;
}

std::uint16_t randomTag()
{
    std::random_device device;
    return std::uniform_int_distribution<std::uint16_t>(1)(device);
}

Verdict judgeReply(Bytes datagram, std::uint16_t uOP_Code, std::uint16_t uReqTag, std::size_t bodySize)
{
    const auto header = readHeader(datagram);
    if (!header)
        return Verdict::tooShort;
    if (header->uID != VXP_ID_REPLY)
        return Verdict::otherKind;
    if (header->uReqTag != uReqTag || header->uOP_Code != uOP_Code)
        return Verdict::otherRequest;
    if (header->uFlag != VXP_HANDLED)
        return Verdict::refused;
    return datagram.size() < sizeof(message_t) + bodySize ? Verdict::tooShort : Verdict::wanted;
}

Verdict judgeAnnouncement(Bytes datagram, std::size_t bodySize)
{
    const auto header = readHeader(datagram);
    if (!header)
        return Verdict::tooShort;
    if (header->uID != VXP_ID_ANNOUNCEMENT || header->uOP_Code != VXP_OP_ANNOUNCE)
        return Verdict::otherKind;
    return datagram.size() < sizeof(message_t) + bodySize ? Verdict::tooShort : Verdict::wanted;
}

std::string Noise::summary() const
{
    static constexpr std::array<const char *, 5> names{"", "of another kind", "for another request", "refused",
                                                       "too short"};
    std::string text;
    for (std::size_t i = 1; i < names.size(); i++)
        if (m_counts[i])
            text += (text.empty() ? "ignored datagrams: " : ", ") + std::to_string(m_counts[i]) + " " + names[i];
    return text;
}

} // namespace vxpctl
