// SPDX-License-Identifier: Apache-2.0
//
// What firmware upgrade, configuration backup and configuration restore share.
#ifndef VXP_REQ_FUNC_TRANSFER_H
#define VXP_REQ_FUNC_TRANSFER_H

#include "daemon/message.h"
#include "req_func/bodies.h"

#include <netinet/in.h>

// A server and the file on it, as a start request names them. The text of the other address family is empty.
struct TransferServer {
    uint8_t ucServerType;
    uint8_t ucAddressType;
    char strIP[INET_ADDRSTRLEN];   // 16 bytes
    char strIP6[INET6_ADDRSTRLEN]; // 46 bytes
    char strFile[128];             // cut at 127 characters
};
static_assert(sizeof(TransferServer) == 192);

// A file name that the shell takes for one word, blanks aside, and acts on in no way: a back-slash stands before each
// character that means something to it. Names without such characters stay as they are.
struct ShellName {
    char str[2 * sizeof(TransferServer::strFile)];

    explicit ShellName(const char *strFile);
};

// Start a reply: all zero, the request's sub-service, result "refused".
TransferReply &beginTransferReply(const uint8_t *pBody, message_t *pRetMsg);

// Put a message into the reply; it is cut at the field's 128 bytes, without a NUL.
void setMessage(TransferReply &reply, const char *strFormat, ...) __attribute__((format(printf, 2, 3)));

// The refusals that have one wording everywhere.
void refuseUnderProcessing(TransferReply &reply, const char *strJob);
void refuseSubService(TransferReply &reply);

// Read what a start request names. False, with the reason in the reply, when a type is not valid.
bool readServer(const uint8_t *pBody, TransferReply &reply, TransferServer *pServer);

// Change to "/tmp", where files come and go and relative names mean. The process stays there.
void enterTransferFolder();

// Run "TOOL FILE >/dev/console 2>&1", cut at 127 characters, through the shell. Returns the wait status.
int runTool(const char *strTool, const char *strFile);

// Run it as a check, which passes when bits 8 to 15 of the wait status are 0: also when a signal ended the tool.
bool passesCheck(const char *strTool, const char *strFile);

#endif
