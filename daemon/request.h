// SPDX-License-Identifier: Apache-2.0
//
// What the receive loop and the request handlers share.
#ifndef VXP_DAEMON_REQUEST_H
#define VXP_DAEMON_REQUEST_H

#include "daemon/message.h"

#include <cstdint>

// Answer one request. pMsg is its header in host order, pBody its body (past the credentials, if the operation takes
// them), zero-extended and closed by a NUL behind the receive buffer. pRetMsg is the cleared reply buffer of
// uRetBufferLen bytes. Returns the number of bytes to send, header included and in wire order; 0 sends nothing.
//
// Once a reply is sent the handler is called again with all arguments null: what would cut the conversation short,
// such as a reboot, is done in that call. Handlers without such work return 0 when pMsg is null.
using RequestHandler = uint16_t(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg,
                                uint16_t uRetBufferLen);

RequestHandler funcDiscover;           // 0x00A1
RequestHandler funcUserVerify;         // 0x00A3
RequestHandler funcQuerySupportedFunc; // 0x00A5
RequestHandler funcQueryNetStatus;     // 0x00C9
RequestHandler funcQueryNeighbor;      // 0x00D0

struct RequestEntry {
    uint16_t uOP_Code;
    bool bAuth; // the body begins with credentials, which the loop checks
    RequestHandler *pHandler;
};

extern const RequestEntry g_ReqFunc[]; // the operations that are served, ended by a null handler

extern int g_idxCurrentInterface;   // index of the interface whose datagram is being handled
extern char g_strCurrentUser[1024]; // user name of the latest request that carried credentials

constexpr char ADMINISTRATOR[] = "sysop"; // the one account that may administer the device

#endif
