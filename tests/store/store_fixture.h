// SPDX-License-Identifier: Apache-2.0
//
// A store of its own for each test, and short forms of the library's functions.
#ifndef VXP_TESTS_STORE_FIXTURE_H
#define VXP_TESTS_STORE_FIXTURE_H

#include "lsqlquery/lsqlquery.h"
#include "lsqlquery/lsqlstore.h"
#include "tests/support/support.h"

#include <filesystem>
#include <lmdb.h>
#include <optional>

using testing::AllOf;
using testing::HasSubstr;

// The name of a field, as the library's functions take it.
struct Name {
    const char *object;
    const char *instance;
    const char *field;
    const char *qualifierField = nullptr;
    const char *qualifierValue = nullptr;
};

const Name MODEL = {"system", nullptr, "model"};

std::optional<std::string> get(const Name &name);

// The outcome; the error text goes to lastText(), and both ways of telling it are checked to agree.
int set(const Name &name, const std::string &value);
// In one transaction, null to remove; FAILED is set to the number of the one that was refused.
int write(const std::vector<std::pair<Name, const char *>> &values, unsigned flags = 0, size_t *failed = nullptr);
inline int unset(const Name &name)
{
    return write({{name, nullptr}});
}

inline int lastCode()
{
    return lsqlstore_last_error(nullptr);
}
std::string lastText();

// All that the store holds, one line per field: object/instance[qfield=qvalue].field=value
std::string contents(const char *object = nullptr);
std::string describe(const lsqlstore_field &field);

// The store opened past the library, in a process that does not use the library.
MDB_env *openPastLibrary(const std::string &folder, unsigned flags = 0);

int execCtl(const std::vector<std::string> &arguments); // lsqlctl instead of this process, see execute()
Result runCtl(const std::vector<std::string> &arguments, const std::string &input = "");

class StoreTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override { EXPECT_EQ(LSQLSTORE_OK, lsqlstore_close()); }
    void removeStore() const; // as rm would, also while it is open

    const TemporaryFolder m_temporary{};
    const std::string &m_folder = m_temporary.path(); // the store's, empty at first
    const std::string m_dataFile = m_folder + "/data.mdb";
};

#endif
