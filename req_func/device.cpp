// SPDX-License-Identifier: Apache-2.0
//
// The device as a whole: save the settings, reboot, factory reset. The store's owner does the work once its trigger
// field is written; the triggers that cut the conversation short are pulled on the call after the reply.
#include "daemon/request.h"
#include "lib/debug.h"
#include "req_func/reply.h"
#include "sys/lsqldb.h"

#include <cstdio>
#include <cstring>

namespace
{

struct Setting {
    char str[32] = "";

    Setting(const char *strObject, const char *strField) { LSQLdbGetStr(strObject, strField, str); }
};

// Leave a static address where the daemon's next start finds it. The mask comes from ("management","static-mask"),
// not from the field that the basic settings write: that pairing is meant.
void keepAddress()
{
    if (strcmp(Setting("management", "dhcp-status").str, "down") != 0)
        return;
    FILE *const pFile = fopen("/etc/reserved_IP", "we");
    if (!pFile)
        return;
    const Setting address("management", "static-ip");
    const Setting mask("management", "static-mask");
    const Setting gateway("static-ip-route", "gateway");
    fprintf(pFile, "%s,%s,%s,", address.str, mask.str, gateway.str);
    fclose(pFile);
}

// The reply first; the trigger is pulled on the call after it.
uint16_t answerThen(int (*pTrigger)(), const message_t *pMsg, message_t *pRetMsg, uint16_t uRetBufferLen,
                    const char *strFunction = __builtin_FUNCTION(), int iLine = __builtin_LINE())
{
    sysDebug("FUNC:%s...\n", strFunction);
    if (pMsg)
        return finishStatus(*pMsg, pRetMsg, 0, uRetBufferLen, SOURCE_PLAIN, strFunction, iLine);
    pTrigger();
    return 0;
}

} // namespace

uint16_t funcReboot(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    return answerThen(LSQLdbReboot, pMsg, pRetMsg, uRetBufferLen);
}

uint16_t funcFactoryReset(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    return answerThen(LSQLdbFactoryReset, pMsg, pRetMsg, uRetBufferLen);
}

uint16_t funcFactoryResetWithoutIP(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    keepAddress(); // on both calls, and before the log's line
    return answerThen(LSQLdbFactoryReset, pMsg, pRetMsg, uRetBufferLen);
}

uint16_t funcCommitSettings(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    LSQLdbSaveRunning();
    return finishStatus(*pMsg, pRetMsg, 0, uRetBufferLen);
}
