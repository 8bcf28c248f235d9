// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_TESTS_UNIT_FAKE_STORE_H
#define VXP_TESTS_UNIT_FAKE_STORE_H

#include "tests/support/store_functions.h"
#include "tests/support/support.h"

#include <map>
#include <string>
#include <utility>

// A store in memory that logs "get KEY; " and "set KEY=VALUE; ".
struct FakeStore {
    std::map<std::string, std::string> values{};
    std::string error{}; // not empty: writes fail with this text and code 7
    std::string log{};

    std::string takeLog() { return std::exchange(log, {}); }
};

extern FakeStore g_fakeStore;

// Starts each test with an empty store; fails it when a record was leaked.
class StoreTest : public testing::Test
{
protected:
    void SetUp() override { g_fakeStore = {}; }
    void TearDown() override { EXPECT_EQ(t_iRecords, 0) << "store records leaked"; }
};

#endif
