// SPDX-License-Identifier: Apache-2.0
#include "daemon/announce.h"

#include "daemon/interfaces.h"
#include "daemon/message.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"
#include "sys/settings.h"

namespace
{

constexpr size_t ANNOUNCEMENT_SIZE = sizeof(message_t) + sizeof(AnnouncementBody);
static_assert(ANNOUNCEMENT_SIZE == 317);

void fillBody(int idx, AnnouncementBody &body)
{
    sysGetProductName(body.strProduct);
    sysGetProductCategory(body.strCategory);
    sysGetVersion(body.strVersion);
    sysGetMAC(idx, body.ucMAC);
    sysGetHardwareVersion(body.strHardwareVersion);
    sysGetSerialNumber(body.strSerial);
    sysGetSystemName(body.strSystemName);
    sysGetIP(idx, body.ucIP);
    sysGetSubnetMask(idx, body.ucMask);
    sysGetInterfaceAlias(idx, body.strAlias);
    sysGetIP6(idx, body.ucIP6);
    body.ucPrefix6 = static_cast<uint8_t>(sysGetIP6_Prefix(idx));
}

// False when the header cannot be converted.
bool buildAnnouncement(int idx, message_t *pMsg)
{
    pMsg->uID = VXP_ID_ANNOUNCEMENT;
    pMsg->uOP_Code = VXP_OP_ANNOUNCE;
    sysGetMAC(idx, pMsg->ucMAC);
    sysGetIP(idx, pMsg->ucIP);
    pMsg->uVersion = VXP_VERSION;
    pMsg->uBodyLen = sizeof(AnnouncementBody);
    fillBody(idx, bodyOf<AnnouncementBody>(pMsg));
    return message_to_LE(pMsg) == 0;
}

} // namespace

void announceAll(const InterfaceTable &table)
{
    const int iCount = sysGetInterfaceCount();
    for (int i = 0; i < iCount && i < table.iCount; i++) {
        if (!table.ppSlots[i])
            continue;
        alignas(message_t) uint8_t ucAnnouncement[ANNOUNCEMENT_SIZE] = {};
        if (buildAnnouncement(i, reinterpret_cast<message_t *>(ucAnnouncement)))
            broadcast(*table.ppSlots[i], VXP_REQUEST_PORT, ucAnnouncement, sizeof ucAnnouncement);
    }
}
