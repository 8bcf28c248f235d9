// SPDX-License-Identifier: Apache-2.0
//
// A restore runs in a worker thread, so that the reply to its start goes out at once. The worker shares nothing with
// the loop but store fields and the current directory.
#include "daemon/request.h"
#include "lib/command.h"
#include "lib/debug.h"
#include "req_func/config.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdlib>

namespace
{

enum : uint8_t { IN_PROGRESS = 2, COMPLETED = 3 }; // ucResult of a query

bool _validate_configuration_file(const char *strFile)
{
    return passesCheck("/usr/sbin/config-file validate", strFile);
}

int _configuration_upgrade(const char *strFile)
{
    return runTool("/usr/sbin/config-file restore", strFile);
}

// TFTP always goes to the IPv4 text; HTTP takes either, IPv6 without brackets.
void fetch(const TransferServer &server)
{
    const ShellName file(server.strFile);
    if (server.ucServerType == SERVER_TFTP)
        System("tftp -g %s -l %s -r %s", server.strIP, file.str, file.str);
    else
        System("/usr/bin/wget http://%s/%s", server.ucAddressType == ADDRESS_IPV4 ? server.strIP : server.strIP6,
               file.str);
}

// A fetch that failed shows as a failed check. "complete" stands while the restore tool is still to run.
void checkAndRestore(const char *strFile)
{
    setConfigStatus(RESTORE_VERIFYING);
    if (!_validate_configuration_file(strFile)) {
        setConfigStatus(JOB_FAILED);
        return;
    }
    setConfigStatus(JOB_COMPLETE);
    sleep(2);
    _configuration_upgrade(strFile);
}

void *thread_config_upgrade(void *pRecord)
{
    auto *const pServer = static_cast<TransferServer *>(pRecord);
    enterTransferFolder();
    fetch(*pServer);
    checkAndRestore(pServer->strFile);
    if (pServer->ucServerType == SERVER_TFTP)
        setConfigStatus(JOB_COMPLETE); // over TFTP a failed check ends so, too
    free(pServer);
    return nullptr;
}

void startWorker(const TransferServer &server)
{
    auto *const pRecord = static_cast<TransferServer *>(malloc(sizeof(TransferServer)));
    if (!pRecord)
        return;
    *pRecord = server;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, thread_config_upgrade, pRecord) == 0)
        pthread_detach(thread);
    else
        free(pRecord);
}

// Not after "complete", which a query or a backup clears, nor after "failed", which stays.
bool isIdle(const JobStatus &status)
{
    sysDebug("SST_CONFIG\n");
    return status.is(JOB_NONE);
}

void runRestore(const TransferServer &server)
{
    setConfigStatus(RESTORE_RUNNING);
    startWorker(server);
}

void queryRestore(JobStatus &status, TransferReply &reply)
{
    sysDebug("SST_QUERY\n");
    status.read(); // over what the first reading found
    if (status.is(RESTORE_RUNNING) || status.is(RESTORE_VERIFYING)) {
        reply.ucResult = IN_PROGRESS;
    } else if (status.is(JOB_COMPLETE)) {
        reply.ucResult = COMPLETED;
        setConfigStatus(JOB_NONE);
    } else if (!status.is(JOB_NONE)) { // "failed" too, which stays recorded
        setMessage(reply, "\"%s\" isn't running: %s", RESTORE_RUNNING, status.str);
    } else {
        reply.ucResult = IN_PROGRESS;
    }
}

constexpr TransferSteps RESTORE = {isIdle, runRestore, queryRestore};

} // namespace

uint16_t funcConfigUpgrade(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    return answerConfig(*pMsg, pBody, pRetMsg, uRetBufferLen, RESTORE);
}
