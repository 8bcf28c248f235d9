// SPDX-License-Identifier: Apache-2.0
//
// Message bodies turned into what users see.
//
// The names of the values are the interface to programs: one name means the same in every command. Addresses of all
// zeros mean "none" on the wire and become null.
#ifndef VXP_CLIENT_DECODE_H
#define VXP_CLIENT_DECODE_H

#include "client/record.h"
#include "daemon/message.h"
#include "req_func/bodies.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vxpctl
{

Record toRecord(const DiscoverReply &body);
Record toRecord(const NeighborReply &body);
Record toRecord(const AnnouncementBody &body);
Record toRecord(const UserVerifyReply &body);
Record toRecord(const NetStatusReply &body);
Record toRecord(const SetBasicInfoRequest &body);
Record toRecord(const ChangeAdminRequest &body);
Record toRecord(const DateTimeBody &body);
Record toRecord(const NetAdvancedBody &body);
Record toRecord(const MultiSSID_Request &body);
Record toRecord(const MultiSSID_Reply &body);
Record toRecord(const VLAN_Request &body);
Record toRecord(const SNMP_Request &body);
Record decodeTransferRequest(const std::uint8_t *pBody); // reads a TransferStart6, zeros where there is less
Record toRecord(const TransferReply &body);
Record toRecord(const status_t &body);

// How to read one kind of body out of a datagram.
struct BodyFormat {
    std::size_t size;                            // bytes that must be there; more are ignored
    Record (*decode)(const std::uint8_t *pBody); // reads size bytes, at any alignment
};

template <typename Body>
Record decodeBody(const std::uint8_t *pBody)
{
    Body body;
    std::memcpy(&body, pBody, sizeof body);
    return toRecord(body);
}

template <typename Body>
inline constexpr BodyFormat bodyFormat{sizeof(Body), decodeBody<Body>};

} // namespace vxpctl

#endif
