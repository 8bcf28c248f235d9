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

// Put a message into the reply; it is cut at the field's 128 bytes, without a NUL.
void setMessage(TransferReply &reply, const char *strFormat, ...) __attribute__((format(printf, 2, 3)));

// How far an operation has come: a text in the store, which device tools write and clear, too.
struct JobStatus {
    const char *strObject;
    const char *strField;
    char str[1024] = ""; // as it was last read

    void read(); // keeps what it holds when the field is missing
    void clear() { str[0] = '\0'; }
    bool is(const char *strStatus) const;
};

// What tells the operations apart.
struct TransferSteps {
    bool (*pMayStart)(const JobStatus &status); // false: the start is refused, "under processing"
    void (*pRun)(const TransferServer &server); // the start is accepted
    void (*pQuery)(JobStatus &status, TransferReply &reply);
};

// Answer a request of an operation whose status has just been read. The reply is a refusal until a step turns it into
// something else. strFunction and iLine are the handler's, for the assertion.
uint16_t answerTransfer(const message_t &request, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen,
                        JobStatus &status, const TransferSteps &steps, const char *strFunction = __builtin_FUNCTION(),
                        int iLine = __builtin_LINE());

// Change to "/tmp", where files come and go and relative names mean. The process stays there.
void enterTransferFolder();

// Run "TOOL FILE >/dev/console 2>&1", cut at 127 characters, through the shell. Returns the wait status.
int runTool(const char *strTool, const char *strFile);

// Run it as a check, which passes when bits 8 to 15 of the wait status are 0: also when a signal ended the tool.
bool passesCheck(const char *strTool, const char *strFile);

#endif
