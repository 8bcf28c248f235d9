// SPDX-License-Identifier: Apache-2.0
#include "req_func/reply.h"

#include "daemon/request.h"
#include "lib/assertion.h"
#include "sys/settings.h"

#include <cstring>

namespace
{

// The address getter clears the 6 bytes that it is given, so uFlag is cleared with ucIP. It is 0 in these replies.
void setOwnIdentity(message_t *pRetMsg)
{
    sysGetMAC(g_idxCurrentInterface, pRetMsg->ucMAC);
    sysGetIP(g_idxCurrentInterface, {reinterpret_cast<uint8_t *>(pRetMsg) + offsetof(message_t, ucIP), 6});
}

} // namespace

uint16_t finishReply(const message_t &request, message_t *pRetMsg, size_t uBodyLen, uint16_t uRetBufferLen,
                     Identity identity, const char *strSource, const char *strFunction, int iLine)
{
    deriveReplyHeader(request, pRetMsg, VXP_HANDLED, static_cast<uint16_t>(uBodyLen));
    if (identity == Identity::own)
        setOwnIdentity(pRetMsg);
    assertThat(uRetBufferLen >= pRetMsg->uBodyLen + sizeof(message_t),
               "uRetBufferLen>=(pRetMsg->uBodyLen+sizeof(message_t))", strSource, strFunction, iLine);
    if (message_to_LE(pRetMsg) != 0)
        return 0;
    return static_cast<uint16_t>(sizeof(message_t) + uBodyLen);
}

uint16_t finishStatus(const message_t &request, message_t *pRetMsg, uint32_t uStatus, uint16_t uRetBufferLen,
                      const char *strSource, const char *strFunction, int iLine)
{
    status_t status = {uStatus, 0, 0, 0};
    if (status_to_LE(&status) != 0)
        return 0;
    memcpy(pRetMsg + 1, &status, sizeof status);
    return finishReply(request, pRetMsg, sizeof status, uRetBufferLen, Identity::request, strSource, strFunction,
                       iLine);
}
