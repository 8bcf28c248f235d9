// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"
#include "lib/debug.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"
#include "sys/settings.h"

uint16_t funcDiscover(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    const int idx = g_idxCurrentInterface;
    auto &body = bodyOf<DiscoverReply>(pRetMsg);
    sysGetBrandName(body.strBrand);
    sysGetProductName(body.strProduct);
    sysGetModelName(body.strModel);
    sysGetVersion(body.strVersion);
    body.uProductType.put(static_cast<uint16_t>(sysGetProductType()));
    uint32_t uHardwareSpec = 0;
    sysGetHardwareSpec({reinterpret_cast<char *>(&uHardwareSpec), sizeof uHardwareSpec});
    body.uHardwareSpec.put(uHardwareSpec);
    sysGetMAC(idx, body.ucMAC);
    sysGetSystemName(body.strSystemName);
    sysGetIP(idx, body.ucIP);
    body.uWebPort.put(static_cast<uint16_t>(sysGetWebPort()));
    body.ucDNS_Mode = static_cast<uint8_t>(sysGetDNS_Setting());
    sysGetSubnetMask(idx, body.ucMask);
    sysGetDefaultGateway(idx, body.ucGateway);
    sysGetPrimaryDNS(body.ucDNS1);
    sysGetSecondaryDNS(body.ucDNS2);
    body.ucDHCP = static_cast<uint8_t>(sysGetDHCP_Setting(idx)); // -1 travels as 0xFF
    sysGetDatetime(body.strDateTime);
    body.ucDaylightSaving = static_cast<uint8_t>(sysGetDaylightSaving());
    sysGetProductCategory(body.strCategory);
    sysGetHardwareVersion(body.strHardwareVersion);
    sysGetSerialNumber(body.strSerial);
    sysGetInterfaceAlias(idx, body.strAlias);
    sysGetIP6(idx, body.ucIP6);
    body.ucPrefix6 = static_cast<uint8_t>(sysGetIP6_Prefix(idx));
    sysGetDefaultGateway6(idx, body.ucGateway6);
    sysGetPrimaryDNS6(idx, body.ucDNS6_1);
    sysGetSecondaryDNS6(idx, body.ucDNS6_2);
    body.ucAuto6 = sysGetIP6_Mode(idx) == 1;
    sysGetAlert({&body.ucAlert, 1});
    return finishReply(*pMsg, pRetMsg, sizeof body, uRetBufferLen, Identity::own);
}
