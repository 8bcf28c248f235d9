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

// Write the header of the reply to request, assert that header and body fit in uRetBufferLen bytes, and convert the
// header to wire order. Returns the reply's length, or 0 when the conversion fails. strFunction and iLine are the
// handler's, for the assertion.
uint16_t finishReply(const message_t &request, message_t *pRetMsg, size_t uBodyLen, uint16_t uRetBufferLen,
                     Identity identity = Identity::request, const char *strFunction = __builtin_FUNCTION(),
                     int iLine = __builtin_LINE());

#endif
