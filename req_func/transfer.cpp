// SPDX-License-Identifier: Apache-2.0
#include "req_func/transfer.h"

#include "lib/debug.h"
#include "lib/strings.h"
#include "req_func/reply.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

ShellName::ShellName(const char *strFile)
{
    char *pOut = str;
    for (; *strFile; strFile++) {
        if (strchr(";&|<>()$`\\\"'*?[#~\n", *strFile))
            *pOut++ = '\\'; // before a line break too: the shell then drops both
        *pOut++ = *strFile;
    }
    *pOut = '\0';
}

TransferReply &beginTransferReply(const uint8_t *pBody, message_t *pRetMsg)
{
    auto &reply = bodyOf<TransferReply>(pRetMsg);
    memset(&reply, 0, sizeof reply);
    reply.ucSubService = requestOf<TransferHead>(pBody).ucSubService;
    reply.ucResult = 1;
    return reply;
}

void setMessage(TransferReply &reply, const char *strFormat, ...)
{
    char strText[sizeof reply.strMessage + 1] = "";
    va_list args;
    va_start(args, strFormat);
    vsnprintf(strText, sizeof strText, strFormat, args);
    va_end(args);
    memcpy(reply.strMessage, strText, sizeof reply.strMessage);
}

void refuseUnderProcessing(TransferReply &reply, const char *strJob)
{
    setMessage(reply, "\"%s\" is under processing", strJob);
}

void refuseSubService(TransferReply &reply)
{
    setMessage(reply, "Invalid sub-service type %u", reply.ucSubService);
}

bool readServer(const uint8_t *pBody, TransferReply &reply, TransferServer *pServer)
{
    const auto &head = requestOf<TransferHead>(pBody);
    *pServer = {head.ucServerType, head.ucAddressType, "", "", ""};
    if (head.ucServerType != SERVER_TFTP && head.ucServerType != SERVER_HTTP) {
        setMessage(reply, "Invalid server type %u", head.ucServerType);
        return false;
    }
    if (head.ucAddressType == ADDRESS_IPV4) {
        const auto &start = requestOf<TransferStart4>(pBody);
        inet_ntop(AF_INET, start.ucIP, pServer->strIP, sizeof pServer->strIP);
        copyText(pServer->strFile, FieldText(start.strFile).str);
    } else if (head.ucAddressType == ADDRESS_IPV6) {
        const auto &start = requestOf<TransferStart6>(pBody);
        inet_ntop(AF_INET6, start.ucIP6, pServer->strIP6, sizeof pServer->strIP6);
        copyText(pServer->strFile, FieldText(start.strFile).str);
    } else {
        setMessage(reply, "Invalid server IP address type %u", head.ucAddressType);
        return false;
    }
    return true;
}

void enterTransferFolder()
{
    if (chdir("/tmp") != 0)
        sysDebug("cannot change to /tmp\n");
}

int runTool(const char *strTool, const char *strFile)
{
    char strCommand[128];
    formatText(strCommand, "%s %s >/dev/console 2>&1", strTool, ShellName(strFile).str);
    return system(strCommand);
}

bool passesCheck(const char *strTool, const char *strFile)
{
    return (runTool(strTool, strFile) >> 8 & 0xFF) == 0;
}
