// SPDX-License-Identifier: Apache-2.0
//
// The functions of a store library that lives in memory. Keys are "object[/instance] field[ qfield=qvalue]".
#ifndef VXP_TESTS_SUPPORT_MEMORY_STORE_H
#define VXP_TESTS_SUPPORT_MEMORY_STORE_H

#include <map>
#include <string>
#include <utility>

struct FakeStore {
    std::map<std::string, std::string> values{};
    std::string error{}; // not empty: writes fail with this text and code 7
    std::string log{};   // for those who define onStoreAccess

    std::string takeLog() { return std::exchange(log, {}); }
};

extern FakeStore g_fakeStore;
extern thread_local int t_iRecords; // made and not yet released

// Who links the store defines this: it is called before each access, and never twice at a time.
void onStoreAccess(bool bWrite, const std::string &strKey, const std::string &strWritten);

#endif
