// SPDX-License-Identifier: Apache-2.0
#include "daemon/message.h"

#include <initializer_list>

namespace
{

int swapMessage(message_t *pMsg)
{
    for (uint16_t *pField :
         {&pMsg->uID, &pMsg->uReqTag, &pMsg->uOP_Code, &pMsg->uFlag, &pMsg->uVersion, &pMsg->uBodyLen})
        *pField = swapLe16(*pField);
    return 0;
}

int swapArray(uint16_t *pValues, int iLen)
{
    if (iLen < 1)
        return 0;
    const int iCount = iLen / 2 + iLen % 2;
    for (int i = 0; i < iCount; i++)
        pValues[i] = swapLe16(pValues[i]);
    return iCount * 2;
}

} // namespace

int message_to_CPU(message_t *pMsg)
{
    return swapMessage(pMsg);
}

int message_to_LE(message_t *pMsg)
{
    return swapMessage(pMsg);
}

int status_to_LE(status_t *pStatus)
{
    for (uint32_t *pField : {&pStatus->uStatus, &pStatus->uReserved1, &pStatus->uReserved2, &pStatus->uReserved3})
        *pField = swapLe32(*pField);
    return 0;
}

int u16_array_to_CPU(uint16_t *pValues, int iLen)
{
    return swapArray(pValues, iLen);
}

int u16_array_to_LE(uint16_t *pValues, int iLen)
{
    return swapArray(pValues, iLen);
}

void deriveReplyHeader(const message_t &request, message_t *pRetMsg, uint16_t uFlag, uint16_t uBodyLen)
{
    *pRetMsg = request;
    pRetMsg->uID = VXP_ID_REPLY;
    pRetMsg->uFlag = uFlag;
    pRetMsg->uVersion = VXP_VERSION;
    pRetMsg->uBodyLen = uBodyLen;
}
