// SPDX-License-Identifier: Apache-2.0
//
// Configuration backup and restore share one status field, ("config", "status"), and so see and block each other.
#ifndef VXP_REQ_FUNC_CONFIG_H
#define VXP_REQ_FUNC_CONFIG_H

#include "req_func/transfer.h"

constexpr char BACKUP_RUNNING[] = "config backup";
constexpr char RESTORE_RUNNING[] = "config upgrade"; // fetching
constexpr char RESTORE_VERIFYING[] = "verifying";
constexpr char JOB_COMPLETE[] = "complete";
constexpr char JOB_FAILED[] = "failed";
constexpr char JOB_NONE[] = "";

void setConfigStatus(const char *strStatus);

// Read the status and answer, see answerTransfer().
uint16_t answerConfig(const message_t &request, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen,
                      const TransferSteps &steps, const char *strFunction = __builtin_FUNCTION(),
                      int iLine = __builtin_LINE());

#endif
