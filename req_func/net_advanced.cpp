// SPDX-License-Identifier: Apache-2.0
//
// Dynamic DNS. The device has no such client: the key-path settings keep nothing and the provider list is empty, but
// tools rely on the records and on success.
#include "daemon/request.h"
#include "lib/debug.h"
#include "lib/key_path.h"
#include "lib/strings.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"
#include "sys/settings.h"

#include <cstring>

uint16_t funcGetNetAdvSettings(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    auto &body = bodyOf<NetAdvancedBody>(pRetMsg);
    if (dbGetULL("/system/ddns/enable") == 1)
        body.ucFlags |= DDNS_BIT;
    char strStatus[1024] = "";
    dbGetStr(strStatus, "/system/ddns/conn_status");
    if (strcmp(strStatus, "Connected") == 0)
        body.ucStatus |= DDNS_BIT;
    body.ucProvider = static_cast<uint8_t>(sysGetDDNS_ProviderIndex());
    dbGetStr(body.strUser, "/system/ddns/username");
    dbGetStr(body.strPassword, "/system/ddns/password");
    dbGetStr(body.strDomain, "/system/ddns/domain");
    body.ucProviderListLen = static_cast<uint8_t>(sysGetDDNS_ProviderList(body.strProviderList));
    return finishReply(*pMsg, pRetMsg, sizeof body, uRetBufferLen);
}

uint16_t funcSetNetAdvSettings(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    const auto &body = requestOf<NetAdvancedBody>(pBody);
    sysDebug("bodylen=%u\n", pMsg->uBodyLen);
    sysDebug("%u, %u\n", body.ucStatus, body.ucFlags);
    dbSetULL(1, "/system/ddns/enable"); // whatever the request's flags say
    if (body.ucProvider != DDNS_UNCHANGED)
        sysSetDDNS_ProviderIndex();
    dbSetStr(FieldText(body.strUser).str, "/system/ddns/username");
    dbSetStr(FieldText(body.strPassword).str, "/system/ddns/password");
    dbSetStr(FieldText(body.strDomain).str, "/system/ddns/domain");
    return finishStatus(*pMsg, pRetMsg, 0, uRetBufferLen);
}
