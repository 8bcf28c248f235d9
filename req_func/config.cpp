// SPDX-License-Identifier: Apache-2.0
#include "req_func/config.h"

#include "lib/debug.h"
#include "req_func/reply.h"
#include "sys/lsqldb.h"

void setConfigStatus(const char *strStatus)
{
    LSQLdbSetStr("config", "status", strStatus);
}

uint16_t answerConfig(const message_t &request, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen,
                      const TransferSteps &steps, const char *strFunction, int iLine)
{
    JobStatus status = {"config", "status"};
    status.read();
    sysDebug("uSubServiceType=%u\n", requestOf<TransferHead>(pBody).ucSubService);
    return answerTransfer(request, pBody, pRetMsg, uRetBufferLen, status, steps, strFunction, iLine);
}
