// SPDX-License-Identifier: Apache-2.0
#include "fake_store.h"

void onStoreAccess(bool bWrite, const std::string &strKey, const std::string &strWritten)
{
    g_fakeStore.log += bWrite ? "set " + strKey + "=" + strWritten + "; " : "get " + strKey + "; ";
}
