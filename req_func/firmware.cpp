// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"
#include "lib/command.h"
#include "lib/debug.h"
#include "lib/strings.h"
#include "req_func/transfer.h"
#include "sys/lsqldb.h"

#include <cstdlib>

namespace
{

constexpr uint8_t QUERIED = 2; // ucResult

// The states of an upgrade. The daemon writes some of the texts; the external tools write the others, and at their end
// "1" or "2" to ask for a reboot or a shutdown.
struct ProgressState {
    const char *strState;
    const char *strText;
};

enum { DOWNLOADING = 1, VALIDATING = 3, VALIDATION_FAILED = 4, UPGRADING = 6 };

constexpr ProgressState PROGRESS[7] = {
    {"inactive", ""},                   // 0
    {"active", "Downloading file"},     // 1
    {"failed", "File download failed"}, // 2
    {"active", "Validating file"},      // 3
    {"failed", "Validation failed"},    // 4
    {"success", "Validation success"},  // 5
    {"active", "Upgrading firmware"},   // 6
};

// The value read last, which the call after the reply acts on, whatever the request was.
JobStatus s_progress = {"firmware-upgrade", "progress"};

void setProgress(int iState)
{
    LSQLdbSetStr("firmware-upgrade", "progress", PROGRESS[iState].strText);
}

void actOnProgress()
{
    if (s_progress.is("1"))
        LSQLdbReboot();
    else if (s_progress.is("2"))
        System("submit SHUTDOWN");
}

bool _validate_upload(const char *strFile)
{
    return passesCheck("/usr/sbin/flash-validate", strFile);
}

// The upgrader does all, progress included. Its path is relative for IPv6, and that address has no brackets.
void startTFTP(const TransferServer &server, const ShellName &file)
{
    if (server.ucAddressType == ADDRESS_IPV4)
        System("/splashbin/firmware-upgrade tftp://%s/%s &", server.strIP, file.str);
    else
        System("splashbin/firmware-upgrade tftp://%s/%s &", server.strIP6, file.str);
}

// All but the flashing is done before the reply. An IPv6 server's host part is empty: only the IPv4 text is used.
void startHTTP(const TransferServer &server, const ShellName &file)
{
    setProgress(DOWNLOADING);
    enterTransferFolder();
    System("/usr/bin/wget http://%s/%s", server.strIP, file.str);
    setProgress(VALIDATING);
    if (!_validate_upload(server.strFile)) {
        setProgress(VALIDATION_FAILED);
        return;
    }
    setProgress(UPGRADING);
    char strFlash[128];
    formatText(strFlash, "/usr/sbin/flash-upgrade %s >/dev/console 2>&1 &", file.str);
    [[maybe_unused]] int iIgnored = system("killall -2 mDNSResponderPosix");
    iIgnored = system(strFlash);
}

bool isIdle(const JobStatus &progress)
{
    return progress.is(""); // any leftover text is in the way, "Validation failed" included
}

void runUpgrade(const TransferServer &server)
{
    const ShellName file(server.strFile);
    if (server.ucServerType == SERVER_TFTP)
        startTFTP(server, file);
    else
        startHTTP(server, file);
}

// The progress text itself is not sent.
void queryUpgrade(JobStatus &progress, TransferReply &reply)
{
    progress.read();
    reply.ucResult = QUERIED;
}

constexpr TransferSteps UPGRADE = {isIdle, runUpgrade, queryUpgrade};

} // namespace

uint16_t funcFirmwareUpgrade(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg) {
        actOnProgress();
        return 0;
    }
    s_progress.clear();
    s_progress.read();
    return answerTransfer(*pMsg, pBody, pRetMsg, uRetBufferLen, s_progress, UPGRADE);
}
