// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"
#include "lib/base64.h"
#include "lib/command.h"
#include "lib/debug.h"
#include "lib/strings.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"

#include <cstring>

namespace
{

enum : uint32_t { CHANGED = 0, WRONG_USER = 1001, BAD_CHARACTER = 1006 };

// The characters that SET_PASSWD cannot take. The escape is the command line's own guard and stays beside the check.
uint32_t changePassword(const char *strUser, const char *strPassword)
{
    if (strcmp(strUser, ADMINISTRATOR) != 0)
        return WRONG_USER;
    if (strpbrk(strPassword, "@:-/\\%\"'"))
        return BAD_CHARACTER;
    char *const strEscaped = str_insert_back_slash(strPassword, nullptr);
    System("submit SET_PASSWD '%s' '%s'", strUser, strEscaped);
    wipe({strEscaped, strlen(strEscaped)});
    return CHANGED;
}

} // namespace

uint16_t funcChangeAdmin(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    const auto &body = requestOf<ChangeAdminRequest>(pBody);
    char strUser[1024], strPassword[1024];
    base64_decode(strUser, FieldText(body.strUser).str);
    base64_decode(strPassword, FieldText(body.strPassword).str);
    const uint32_t uStatus = changePassword(strUser, strPassword);
    wipe(strPassword);
    return finishStatus(*pMsg, pRetMsg, uStatus, uRetBufferLen);
}
