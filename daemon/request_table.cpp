// SPDX-License-Identifier: Apache-2.0
#include "daemon/request.h"

#include <iterator>

int g_idxCurrentInterface = 0;
char g_strCurrentUser[1024] = "";

// Operations without credentials stay so, those that change the device included: tools in the field rely on it.
constexpr RequestEntry g_ReqFunc[] = {
    {VXP_OP_DISCOVER, false, funcDiscover},
    {VXP_OP_USER_VERIFY, true, funcUserVerify},
    {VXP_OP_QUERY_SUPPORTED, true, funcQuerySupportedFunc},
    {VXP_OP_QUERY_NET_STATUS, true, funcQueryNetStatus},
    {VXP_OP_QUERY_NEIGHBOR, false, funcQueryNeighbor},
    {0, false, nullptr},
};

namespace
{

constexpr bool isSortedAndClosed()
{
    constexpr size_t uCount = std::size(g_ReqFunc) - 1;
    for (size_t i = 0; i + 1 < uCount; i++)
        if (g_ReqFunc[i].uOP_Code >= g_ReqFunc[i + 1].uOP_Code)
            return false;
    for (size_t i = 0; i < uCount; i++)
        if (!g_ReqFunc[i].pHandler)
            return false;
    return !g_ReqFunc[uCount].pHandler;
}

} // namespace

static_assert(isSortedAndClosed(), "codes ascend, every operation has a handler, and a null handler ends the table");
