// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"
#include "lib/debug.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"
#include "sys/settings.h"

#include <cstring>

namespace
{

constexpr char BRIDGE[] = "brtrunk"; // the interface that carries the management address

// Index of the bridge interface, -1 when the device has none.
int findBridge()
{
    const int iCount = sysGetInterfaceCount();
    for (int i = 0; i < iCount; i++) {
        char strName[16] = "";
        sysGetInterfaceName(i, strName);
        if (strcmp(strName, BRIDGE) == 0)
            return i;
    }
    return -1;
}

// Every device serves these; the supported-function reply does not list them.
bool isBasicOperation(uint16_t uOP_Code)
{
    return uOP_Code >= VXP_OP_DISCOVER && uOP_Code <= VXP_OP_QUERY_SUPPORTED;
}

} // namespace

uint16_t funcQueryNeighbor(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    const int idx = g_idxCurrentInterface;
    auto &body = bodyOf<NeighborReply>(pRetMsg);
    body.ucOne = 1;
    sysGetProductName(body.strProduct);
    sysGetProductCategory(body.strCategory);
    sysGetVersion(body.strVersion);
    sysGetMAC(idx, body.ucMAC);
    sysGetSystemName(body.strSystemName);
    sysGetIP(idx, body.ucIP);
    sysGetSubnetMask(idx, body.ucMask);
    sysGetIP6(idx, body.ucIP6);
    sysGetInterfaceAlias(idx, body.strAlias);
    return finishReply(*pMsg, pRetMsg, sizeof body, uRetBufferLen, Identity::own);
}

uint16_t funcQueryNetStatus(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    const int idx = findBridge();
    if (idx < 0)
        return finishReply(*pMsg, pRetMsg, 0, uRetBufferLen);
    auto &body = bodyOf<NetStatusReply>(pRetMsg);
    body.uDHCP_State.put(static_cast<uint32_t>(sysGetDHCP_State(idx)));
    sysGetIP(idx, body.ucIP);
    return finishReply(*pMsg, pRetMsg, sizeof body, uRetBufferLen);
}

uint16_t funcQuerySupportedFunc(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    Le16 *const pList = &bodyOf<Le16>(pRetMsg);
    size_t uCount = 0;
    for (const RequestEntry *pEntry = g_ReqFunc; pEntry->pHandler; pEntry++)
        if (!isBasicOperation(pEntry->uOP_Code))
            pList[uCount++].put(pEntry->uOP_Code);
    pList[uCount++].put(0);
    return finishReply(*pMsg, pRetMsg, uCount * sizeof(Le16), uRetBufferLen);
}
