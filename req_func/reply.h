// SPDX-License-Identifier: Apache-2.0
//
// How handlers build their replies.
#ifndef VXP_REQ_FUNC_REPLY_H
#define VXP_REQ_FUNC_REPLY_H

#include "daemon/message.h"

// Whose addresses the reply's header carries: the ones of the request, or this device's on the current interface.
enum class Identity { request, own };

// The record that follows the header of a reply.
template <class Body>
Body &bodyOf(message_t *pRetMsg)
{
    static_assert(alignof(Body) == 1);
    return *reinterpret_cast<Body *>(pRetMsg + 1);
}

// A request's body as a record. It lies in a zero-extended buffer that is longer than any record.
template <class Body>
const Body &requestOf(const uint8_t *pBody)
{
    static_assert(alignof(Body) == 1);
    return *reinterpret_cast<const Body *>(pBody);
}

// What a failed assertion names as its source file: two generations of log readers expect two forms.
constexpr char SOURCE_PLAIN[] = "req_func";
constexpr char SOURCE_FILE[] = "req_func.c"; // transfers, VLAN and SNMP

// Write the header of the reply to request, assert that header and body fit in uRetBufferLen bytes, and convert the
// header to wire order. Returns the reply's length, or 0 when the conversion fails. strFunction and iLine are the
// handler's, for the assertion.
uint16_t finishReply(const message_t &request, message_t *pRetMsg, size_t uBodyLen, uint16_t uRetBufferLen,
                     Identity identity = Identity::request, const char *strSource = SOURCE_PLAIN,
                     const char *strFunction = __builtin_FUNCTION(), int iLine = __builtin_LINE());

// The same for a reply that only reports an outcome: its body is a status block.
uint16_t finishStatus(const message_t &request, message_t *pRetMsg, uint32_t uStatus, uint16_t uRetBufferLen,
                      const char *strSource = SOURCE_PLAIN, const char *strFunction = __builtin_FUNCTION(),
                      int iLine = __builtin_LINE());

#endif
