// SPDX-License-Identifier: Apache-2.0
//
// The operations of the protocol as a client sees them: what goes out, what comes back, and what of it is secret.
#ifndef VXP_CLIENT_OPERATIONS_H
#define VXP_CLIENT_OPERATIONS_H

#include "client/decode.h"
#include "client/protocol.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace vxpctl
{

struct Range {
    std::size_t offset, size; // bytes of a body
};

struct Operation {
    std::uint16_t uCode;
    std::string_view name;
    bool authenticated; // the request's body begins with credentials
    bool repeatable;    // doing it twice is the same as doing it once, so it is sent again when no answer comes
    BodyFormat request; // size 0: no body of its own
    BodyFormat reply;
    std::vector<Range> requestSecrets{}; // in the operation's own body; the credentials' password always is one
    std::vector<Range> replySecrets{};
};

const std::vector<Operation> &operations(); // by code

// Null for a code that the protocol does not have.
const Operation *findOperation(std::uint16_t uCode);
const Operation &operation(std::uint16_t uCode); // one that it has

// The datagram with every secret field covered by asterisks, whatever its length.
std::vector<std::uint8_t> withoutSecrets(Bytes datagram);

// Header and body as named values; for what is no message, its length only. Covers nothing.
Record describeDatagram(Bytes datagram);

// What is wrong with a message; empty when nothing is.
std::string problemOf(Bytes datagram);

std::string hex(Bytes bytes); // "fd fd 34 12 ..."

} // namespace vxpctl

#endif
