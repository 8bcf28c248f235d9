// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"
#include "lib/debug.h"
#include "lib/strings.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"
#include "sys/settings.h"

#include <cstdio>

namespace
{

constexpr uint32_t PORT_REFUSED = 3;

void setIP(int idx, const SetBasicInfoRequest &body)
{
    sysSetDHCP_Setting(idx, body.ucDHCP);
    if (body.ucDHCP)
        return;
    sysSetIP(idx, body.ucIP);
    sysSetSubnetMask(idx, body.ucMask);
    sysSetDefaultGateway(idx, body.ucGateway);
}

void setDNS(const SetBasicInfoRequest &body)
{
    if (!body.ucManualDNS) {
        sysSetDNS_Setting(0);
        return;
    }
    sysSetPrimaryDNS(body.ucDNS1);
    sysSetSecondaryDNS(body.ucDNS2);
    sysSetDNS_Setting(1);
}

void setIP6(int idx, const SetBasicInfoRequest &body)
{
    printf("uDHCP_Setting6 = %x\n", body.uDHCP_Setting6);
    if (body.uDHCP_Setting6) {
        sysSetIP6_Mode(idx, 1);
        return;
    }
    sysSetIP6_Mode(idx, 2);
    if (sysSetIP6(idx, body.ucIP6) != 0)
        return;
    sysSetIP6_Prefix(idx, body.ucPrefix6);
    sysSetDefaultGateway6(idx, body.ucGateway6);
}

} // namespace

uint16_t funcSetBasicInfo(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    const auto &body = requestOf<SetBasicInfoRequest>(pBody);
    // Stored before anything is checked, so also when the request is refused.
    sysSetSystemName(FieldText(body.strSystemName).str);
    const uint16_t uWebPort = body.uWebPort.get();
    if (uWebPort != 0 && uWebPort != sysGetWebPort())
        return finishStatus(*pMsg, pRetMsg, PORT_REFUSED, uRetBufferLen);
    setIP(g_idxCurrentInterface, body);
    setDNS(body);
    setIP6(g_idxCurrentInterface, body);
    return finishStatus(*pMsg, pRetMsg, 0, uRetBufferLen);
}
