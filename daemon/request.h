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

RequestHandler funcDiscover;              // 0x00A1
RequestHandler funcSetBasicInfo;          // 0x00A2
RequestHandler funcUserVerify;            // 0x00A3
RequestHandler funcChangeAdmin;           // 0x00A4
RequestHandler funcQuerySupportedFunc;    // 0x00A5
RequestHandler funcGetNetAdvSettings;     // 0x00A6
RequestHandler funcSetNetAdvSettings;     // 0x00A7
RequestHandler funcFactoryResetWithoutIP; // 0x00AA
RequestHandler funcFactoryReset;          // 0x00AB
RequestHandler funcGetDateTime;           // 0x00AC
RequestHandler funcSetDateTime;           // 0x00AD
RequestHandler funcCommitSettings;        // 0x00C0
RequestHandler funcQueryNetStatus;        // 0x00C9
RequestHandler funcQueryNeighbor;         // 0x00D0
RequestHandler funcSetMultiSSID_Config;   // 0x00D1
RequestHandler funcVLAN_Config;           // 0x00D2
RequestHandler funcSNMP_Config;           // 0x00D4
RequestHandler funcGetMultiSSID_Config;   // 0x00D8
RequestHandler funcFirmwareUpgrade;       // 0x0100
RequestHandler funcConfigBackup;          // 0x0101
RequestHandler funcConfigUpgrade;         // 0x0102
RequestHandler funcReboot;                // 0x0103

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
