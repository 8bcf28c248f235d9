// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"
#include "lib/debug.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"

#include <cstring>

// The loop has checked the password already; only the name is left to judge.
uint16_t funcUserVerify(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    auto &body = bodyOf<UserVerifyReply>(pRetMsg);
    body.uResult.put(strcmp(g_strCurrentUser, ADMINISTRATOR) == 0 ? 1 : 2);
    return finishReply(*pMsg, pRetMsg, sizeof body, uRetBufferLen);
}
