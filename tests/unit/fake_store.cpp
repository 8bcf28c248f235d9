// SPDX-License-Identifier: Apache-2.0
#include "fake_store.h"

FakeStore g_fakeStore;

const char *readStore(const char *strKey)
{
    g_fakeStore.log += std::string("get ") + strKey + "; ";
    const auto found = g_fakeStore.values.find(strKey);
    return found == g_fakeStore.values.end() ? nullptr : found->second.c_str();
}

const char *writeStore(const char *strKey, const char *strValue)
{
    g_fakeStore.log += std::string("set ") + strKey + "=" + strValue + "; ";
    if (!g_fakeStore.error.empty())
        return g_fakeStore.error.c_str();
    g_fakeStore.values[strKey] = strValue;
    return nullptr;
}
