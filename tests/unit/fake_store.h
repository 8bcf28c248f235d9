// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_TESTS_UNIT_FAKE_STORE_H
#define VXP_TESTS_UNIT_FAKE_STORE_H

#include "tests/support/memory_store.h"
#include "tests/support/support.h"

// Starts each test with an empty store that logs "get KEY; " and "set KEY=VALUE; "; fails it when a record was leaked.
class StoreTest : public testing::Test
{
protected:
    void SetUp() override { g_fakeStore = {}; }
    void TearDown() override { EXPECT_EQ(t_iRecords, 0) << "store records leaked"; }
};

#endif
