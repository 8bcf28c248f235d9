// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"

#include <iterator>

int g_idxCurrentInterface = 0;
char g_strCurrentUser[1024] = "";

// Operations without credentials stay so, those that change the device included: tools in the field rely on it.
constexpr RequestEntry g_ReqFunc[] = {
    {VXP_OP_DISCOVER, false, funcDiscover},
    {VXP_OP_SET_BASIC_INFO, true, funcSetBasicInfo},
    {VXP_OP_USER_VERIFY, true, funcUserVerify},
    {VXP_OP_CHANGE_ADMIN, true, funcChangeAdmin},
    {VXP_OP_QUERY_SUPPORTED, true, funcQuerySupportedFunc},
    {VXP_OP_GET_NET_ADVANCED, true, funcGetNetAdvSettings},
    {VXP_OP_SET_NET_ADVANCED, true, funcSetNetAdvSettings},
    {VXP_OP_FACTORY_RESET_WITHOUT_IP, true, funcFactoryResetWithoutIP},
    {VXP_OP_FACTORY_RESET, true, funcFactoryReset},
    {VXP_OP_GET_DATE_TIME, true, funcGetDateTime},
    {VXP_OP_SET_DATE_TIME, true, funcSetDateTime},
    {VXP_OP_COMMIT_SETTINGS, true, funcCommitSettings},
    {VXP_OP_QUERY_NET_STATUS, true, funcQueryNetStatus},
    {VXP_OP_QUERY_NEIGHBOR, false, funcQueryNeighbor},
    {VXP_OP_SET_MULTI_SSID, true, funcSetMultiSSID_Config},
    {VXP_OP_VLAN_CONFIG, true, funcVLAN_Config},
    {VXP_OP_SNMP_CONFIG, false, funcSNMP_Config},
    {VXP_OP_GET_MULTI_SSID, true, funcGetMultiSSID_Config},
    {VXP_OP_FIRMWARE_UPGRADE, false, funcFirmwareUpgrade},
    {VXP_OP_CONFIG_BACKUP, false, funcConfigBackup},
    {VXP_OP_CONFIG_UPGRADE, false, funcConfigUpgrade},
    {VXP_OP_REBOOT, false, funcReboot},
    {0, false, nullptr},
};

namespace
{

constexpr size_t uCount = std::size(g_ReqFunc) - 1; // operations

constexpr bool isSortedAndClosed()
{
    for (size_t i = 0; i + 1 < uCount; i++)
        if (g_ReqFunc[i].uOP_Code >= g_ReqFunc[i + 1].uOP_Code)
            return false;
    for (size_t i = 0; i < uCount; i++)
        if (!g_ReqFunc[i].pHandler)
            return false;
    return !g_ReqFunc[uCount].pHandler;
}

} // namespace

static_assert(uCount == 22);
static_assert(isSortedAndClosed(), "codes ascend, every operation has a handler, and a null handler ends the table");
