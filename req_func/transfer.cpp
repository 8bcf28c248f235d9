// SPDX-License-Identifier: Apache-2.0
#include "req_func/transfer.h"

#include "lib/debug.h"
#include "lib/strings.h"
#include "req_func/reply.h"
#include "sys/lsqldb.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

enum : uint8_t { ACCEPTED = 0, REFUSED = 1 }; // ucResult

// Read what a start request names. False, with the reason in the reply, when a type is not valid.
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

void start(const uint8_t *pBody, const JobStatus &status, const TransferSteps &steps, TransferReply &reply)
{
    if (!steps.pMayStart(status)) {
        setMessage(reply, "\"%s\" is under processing", status.str);
        return;
    }
    TransferServer server;
    if (!readServer(pBody, reply, &server))
        return;
    reply.ucResult = ACCEPTED;
    steps.pRun(server);
}

} // namespace

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

void setMessage(TransferReply &reply, const char *strFormat, ...)
{
    char strText[sizeof reply.strMessage + 1] = "";
    va_list args;
    va_start(args, strFormat);
    vsnprintf(strText, sizeof strText, strFormat, args);
    va_end(args);
    memcpy(reply.strMessage, strText, sizeof reply.strMessage);
}

void JobStatus::read()
{
    LSQLdbGetStr(strObject, strField, str);
}

bool JobStatus::is(const char *strStatus) const
{
    return strcmp(str, strStatus) == 0;
}

uint16_t answerTransfer(const message_t &request, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen,
                        JobStatus &status, const TransferSteps &steps, const char *strFunction, int iLine)
{
    auto &reply = bodyOf<TransferReply>(pRetMsg);
    memset(&reply, 0, sizeof reply);
    reply.ucSubService = requestOf<TransferHead>(pBody).ucSubService;
    reply.ucResult = REFUSED;
    switch (reply.ucSubService) {
    case SST_START:
        start(pBody, status, steps, reply);
        break;
    case SST_QUERY:
        steps.pQuery(status, reply);
        break;
    default:
        setMessage(reply, "Invalid sub-service type %u", reply.ucSubService);
    }
    return finishReply(request, pRetMsg, sizeof reply, uRetBufferLen, Identity::request, SOURCE_FILE, strFunction,
                       iLine);
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
