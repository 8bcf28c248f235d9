// SPDX-License-Identifier: Apache-2.0
//
// Other services own the clock and its settings: what is set is printed and not kept.
#include "daemon/request.h"
#include "lib/debug.h"
#include "lib/key_path.h"
#include "lib/strings.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"
#include "sys/settings.h"

#include <cstdio>

uint16_t funcGetDateTime(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    auto &body = bodyOf<DateTimeBody>(pRetMsg);
    sysGetDatetime(body.strDateTime);
    body.ucTimeZone = static_cast<uint8_t>(dbGetULL("/system/date/time_zone"));
    body.ucZero17 = 0;
    body.ucDaylightSaving = static_cast<uint8_t>(sysGetDaylightSaving());
    body.ucNTP = static_cast<uint8_t>(dbGetULL("/system/date/ntp_enable"));
    dbGetStr(body.strNTP_Server, "/system/date/ntp_server");
    return finishReply(*pMsg, pRetMsg, sizeof body, uRetBufferLen);
}

uint16_t funcSetDateTime(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    const auto &body = requestOf<DateTimeBody>(pBody);
    printf("DateTime = %s, ", FieldText(body.strDateTime).str);
    for (const char ch : body.strDateTime)
        printf("%x, ", static_cast<uint8_t>(ch));
    printf("\n");
    if (body.ucTimeZone)
        printf("Time-zone = %x(Hex), %d(DEC)\n", body.ucTimeZone, body.ucTimeZone);
    printf("DaylightSaving = %x\n", body.ucDaylightSaving);
    printf("NTP = %x\n", body.ucNTP);
    printf("NTP_Server = %s\n", FieldText(body.strNTP_Server).str);
    return finishStatus(*pMsg, pRetMsg, 0, uRetBufferLen);
}
