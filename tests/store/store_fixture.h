// SPDX-License-Identifier: Apache-2.0
//
// A store of its own for each test, and processes to share it with.
#ifndef VXP_TESTS_STORE_FIXTURE_H
#define VXP_TESTS_STORE_FIXTURE_H

#include "lsqlquery/lsqlquery.h"
#include "lsqlquery/lsqlstore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// The name of a field, as the library's functions take it.
struct Name {
    const char *object;
    const char *instance;
    const char *field;
    const char *qualifierField = nullptr;
    const char *qualifierValue = nullptr;
};

std::optional<std::string> get(const Name &name);

// The outcome; the error text goes to lastText(), and both ways of telling it are checked to agree.
int set(const Name &name, const std::string &value);
int unset(const Name &name);

int lastCode();
std::string lastText();

// All that the store holds, one line per field: object/instance[qfield=qvalue].field=value
std::string contents(const char *object = nullptr);
std::string describe(const lsqlstore_field &field);

// What BODY returns in a forked child, which leaves by _exit; -signal if one killed it. Expectations that fail in the
// child are printed there and make it return 99.
int inChild(const std::function<int()> &body);
pid_t startChild(const std::function<int()> &body);
int waitFor(pid_t child);

// The same as root of new user and mount namespaces (a mount namespace alone if we are root); nothing if the machine
// does not let us.
std::optional<int> inMountNamespace(const std::function<int()> &body);

// True under user-mode emulation, where mounts, robust locks and timing are not the machine's.
bool isEmulated();

// Wait until CONDITION holds; false after 20 s.
bool eventually(const std::function<bool()> &condition);

struct Finished {
    int code; // exit code, -signal
    std::string out;
    std::string err;
};

// lsqlctl with ARGUMENTS instead of this process. Descriptors are the caller's; returns only if that fails.
int execCtl(const std::vector<std::string> &arguments);

Finished runCtl(const std::vector<std::string> &arguments, const std::string &input = "");

class StoreTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    std::string m_folder; // the store's, empty at first

    std::string dataFile() const { return m_folder + "/data.mdb"; }
};

#define SKIP_IF_EMULATED(why)                                                                                          \
    if (isEmulated())                                                                                                  \
    GTEST_SKIP() << "emulated: " << why

#endif
