// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"
#include "lib/command.h"
#include "lib/debug.h"
#include "lib/key_path.h"
#include "lib/strings.h"
#include "req_func/bodies.h"
#include "req_func/reply.h"
#include "sys/lsqldb.h"

#include <cstdio>

namespace
{

constexpr uint32_t OPTION_REFUSED = 3;

} // namespace

uint16_t funcVLAN_Config(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    const auto &body = requestOf<VLAN_Request>(pBody);
    if (body.ucOption1 || body.strOption1[0] || body.ucOption2 || body.strOption2[0])
        return finishStatus(*pMsg, pRetMsg, OPTION_REFUSED, uRetBufferLen, SOURCE_FILE);
    // The key-path settings keep nothing, so the identifier goes no further; the commands run all the same.
    dbSetLL(1, "/system/lan/vlan_enable");
    dbSetULL(body.uVLAN.get(), "/system/lan/vlan_id");
    System("submit SET_IPADDRESS");
    System("submit COMMIT");
    return finishStatus(*pMsg, pRetMsg, 0, uRetBufferLen, SOURCE_FILE);
}

uint16_t funcSNMP_Config(const message_t *pMsg, const uint8_t *pBody, message_t *pRetMsg, uint16_t uRetBufferLen)
{
    sysDebug("FUNC:%s...\n", __func__);
    if (!pMsg)
        return 0;
    const auto &body = requestOf<SNMP_Request>(pBody);
    printf("uState = %x\n", body.ucState);
    LSQLdbSetStr("snmp", "status", body.ucState ? "up" : "down");
    const FieldText strReadOnly(body.strReadOnly);
    printf("(SNMP read-only community) strName = %s\n", strReadOnly.str);
    LSQLdbSetStr("snmp", "ro-community", strReadOnly.str);
    const FieldText strReadWrite(body.strReadWrite);
    printf("(SNMP read-write community) strTemp = %s\n", strReadWrite.str);
    LSQLdbSetStr("snmp", "rw-community", strReadWrite.str);
    LSQLdbSaveRunning();
    return finishStatus(*pMsg, pRetMsg, 0, uRetBufferLen, SOURCE_FILE);
}
