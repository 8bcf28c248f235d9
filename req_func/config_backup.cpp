// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"
#include "lib/command.h"
#include "lib/debug.h"
#include "req_func/config.h"
#include "req_func/reply.h"
#include "req_func/transfer.h"

namespace
{

// ucResult. CLEARED and COMPLETED: the status changed between a query's two reads.
enum : uint8_t { DONE = 0, FAILED_OR_RUNNING = 1, CLEARED = 2, COMPLETED = 3 };

// The upload goes by TFTP to the IPv4 text, whatever server and address the request names.
void runBackup(const TransferServer &server)
{
    setConfigStatus(BACKUP_RUNNING);
    enterTransferFolder();
    const ShellName file(server.strFile);
    System("/usr/sbin/config-dump %s >/dev/console 2>&1", file.str);
    System("tftp -p %s -l %s -r %s", server.strIP, file.str, file.str);
    setConfigStatus(JOB_COMPLETE);
}

void startBackup(const uint8_t *pBody, const ConfigStatus &status, TransferReply &reply)
{
    sysDebug("SST_CONFIG\n");
    if (status.is(JOB_COMPLETE)) {
        setConfigStatus(JOB_NONE); // before the types are looked at
    } else if (!status.is(JOB_NONE)) {
        refuseUnderProcessing(reply, status.str);
        return;
    }
    TransferServer server;
    if (!readServer(pBody, reply, &server))
        return;
    reply.ucResult = DONE;
    runBackup(server);
}

void queryBackup(ConfigStatus &status, TransferReply &reply)
{
    if (status.is(JOB_NONE)) {
        setMessage(reply, "\"%s\" isn't running", BACKUP_RUNNING);
        return;
    }
    if (status.is(JOB_COMPLETE)) {
        reply.ucResult = DONE;
        return;
    }
    status.clear();
    status.read();
    if (status.is(JOB_NONE))
        reply.ucResult = CLEARED;
    else if (status.is(JOB_COMPLETE))
        reply.ucResult = COMPLETED;
    else if (status.is(JOB_FAILED))
        setMessage(reply, "Backup failed");
}

} // namespace

uint16_t funcConfigBackup(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    auto &reply = beginTransferReply(pBody, pRetMsg);
    ConfigStatus status;
    sysDebug("uSubServiceType=%u\n", reply.ucSubService);
    switch (reply.ucSubService) {
    case SST_START:
        startBackup(pBody, status, reply);
        break;
    case SST_QUERY:
        queryBackup(status, reply);
        break;
    default:
        refuseSubService(reply);
    }
    return finishReply(*pMsg, pRetMsg, sizeof reply, uRetBufferLen, Identity::request, SOURCE_FILE);
}
