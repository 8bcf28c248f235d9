// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"
#include "lib/command.h"
#include "lib/debug.h"
#include "req_func/config.h"

namespace
{

// ucResult of a query; 1: failed or running. CLEARED and COMPLETED: the status changed between its two reads.
enum : uint8_t { DONE = 0, CLEARED = 2, COMPLETED = 3 };

// Clears "complete", before the request's types are looked at.
bool mayStart(const JobStatus &status)
{
    sysDebug("SST_CONFIG\n");
    if (status.is(JOB_COMPLETE))
        setConfigStatus(JOB_NONE);
    return status.is(JOB_COMPLETE) || status.is(JOB_NONE);
}

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

void queryBackup(JobStatus &status, TransferReply &reply)
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

constexpr TransferSteps BACKUP = {mayStart, runBackup, queryBackup};

} // namespace

uint16_t funcConfigBackup(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    return answerConfig(*pMsg, pBody, pRetMsg, uRetBufferLen, BACKUP);
}
