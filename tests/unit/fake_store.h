// SPDX-License-Identifier: Apache-2.0
//
// A store library that lives in memory, writes down what is asked of it and counts the records that are out.
#ifndef VXP_TESTS_UNIT_FAKE_STORE_H
#define VXP_TESTS_UNIT_FAKE_STORE_H

#include "tests/support/support.h"

#include <map>

struct FakeStore {
    // Keys and log lines: "object[/instance] field[ qfield=qvalue]".
    std::map<std::string, std::string> values;
    std::string log;   // "get KEY" or "set KEY=VALUE", in the order of the calls, each with "; " behind it
    std::string error; // not empty: writes fail with this text and code 7
    int records = 0;   // made and not yet destroyed

    std::string takeLog() { return std::exchange(log, {}); }
};

extern FakeStore g_fakeStore;

// Starts each test with an empty store; fails it when a record was leaked.
class StoreTest : public testing::Test
{
protected:
    void SetUp() override { g_fakeStore = {}; }
    void TearDown() override { EXPECT_EQ(g_fakeStore.records, 0) << "store records leaked"; }
};

#endif
