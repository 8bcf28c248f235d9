// SPDX-License-Identifier: Apache-2.0
//
// Requests made, and datagrams sorted into answers and noise.
#ifndef VXP_CLIENT_PROTOCOL_H
#define VXP_CLIENT_PROTOCOL_H

#include "daemon/message.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vxpctl
{

using Bytes = std::span<const std::uint8_t>;
using RequestBytes = std::array<std::uint8_t, sizeof(message_t)>;

// A request without a body to every device, in wire order.
RequestBytes makeBroadcastRequest(std::uint16_t uOP_Code, std::uint16_t uReqTag);

// A request to the one device that has both addresses.
std::vector<std::uint8_t> makeRequest(std::uint16_t uOP_Code, std::uint16_t uReqTag, const std::uint8_t *pMAC,
                                      const std::uint8_t *pIP, Bytes body);

// The header in host order; nothing when the datagram is too short to have one.
std::optional<message_t> readHeader(Bytes datagram);

// A tag that requests of other clients are unlikely to carry; never 0, which announcements have.
std::uint16_t randomTag();

// What a datagram is to the one who waits for a certain kind. Every tool hears every reply on the segment, so
// noise is the rule.
enum class Verdict {
    wanted,
    otherKind,    // no message of this protocol, or one of another kind
    otherRequest, // answers another tool, or another operation
    refused,      // the device says that it does not serve the request
    tooShort,     // cut off
};

Verdict judgeReply(Bytes datagram, std::uint16_t uOP_Code, std::uint16_t uReqTag, std::size_t bodySize);
Verdict judgeAnnouncement(Bytes datagram, std::size_t bodySize);

// Counts what was not wanted, to be told with -v.
class Noise
{
public:
    void add(Verdict verdict) { m_counts[static_cast<std::size_t>(verdict)]++; }
    std::string summary() const; // empty when there was none

private:
    std::array<unsigned, 5> m_counts{};
};

} // namespace vxpctl

#endif
