// SPDX-License-Identifier: Apache-2.0
//
// The eight virtual access points of one radio. The request's band byte is ignored, on purpose: the accessors are
// asked for a band that no radio has, so that the SSID, VLAN and band ones do nothing and the security ones always
// reach "wlan0".
#include "daemon/request.h"
#include "lib/debug.h"
#include "lib/strings.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"
#include "sys/wireless.h"

uint16_t funcSetMultiSSID_Config(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg,
                                 uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    const auto &request = requestOf<MultiSSID_Request>(pBody);
    sysSetBandSetting(BAND_OTHER);
    for (int i = 0; i < static_cast<int>(VAP_COUNT); i++) {
        const VAP_Entry &entry = request.entries[i];
        sysSetSSID(FieldText(entry.strSSID).str, i, BAND_OTHER);
        sysSetVLANID(FieldText(entry.strVLAN).str, i, BAND_OTHER);
        sysSetSecuritySetting(FieldText(entry.strSecurity).str, i, BAND_OTHER);
        // A key that fills its field is read on into the next entry.
        sysSetSecurityPWD(reinterpret_cast<const char *>(&entry) + offsetof(VAP_Entry, strKey), i, BAND_OTHER);
    }
    return finishReply(*pMsg, pRetMsg, sizeof(MultiSSID_Reply), uRetBufferLen, Identity::own);
}

uint16_t funcGetMultiSSID_Config(const message_t *pMsg, const uint8_t *, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    auto &body = bodyOf<MultiSSID_Reply>(pRetMsg);
    char *const pBufferEnd = reinterpret_cast<char *>(pRetMsg) + uRetBufferLen;
    sysGetBandSetting(&body.ucBand, BAND_OTHER);
    for (int i = 0; i < static_cast<int>(VAP_COUNT); i++) {
        VAP_Entry &entry = body.entries[i];
        sysGetSSID(entry.strSSID, i, BAND_OTHER);
        sysGetVLANID(entry.strVLAN, i, BAND_OTHER);
        sysGetSecuritySetting(entry.strSecurity, i, BAND_OTHER);
        // A key longer than its field runs on into the next entry, and after the last one past what is sent.
        char *const pKey = reinterpret_cast<char *>(&entry) + offsetof(VAP_Entry, strKey);
        sysGetSecurityPWD({pKey, pBufferEnd}, i, BAND_OTHER);
    }
    return finishReply(*pMsg, pRetMsg, sizeof body, uRetBufferLen, Identity::own);
}
