// SPDX-License-Identifier: Apache-2.0
#include "tests/store/store_fixture.h"

using Record = std::unique_ptr<lsqlquery_pv, decltype([](lsqlquery_pv *pv) { lsqlquery_destroy_pv(pv); })>;

std::optional<std::string> get(const Name &name)
{
    const Record pv(name.qualifierField ? lsqlquery_get_pv_q1(name.object, name.instance, name.field,
                                                              name.qualifierField, name.qualifierValue)
                                        : lsqlquery_get_pv(name.object, name.instance, name.field));
    if (!pv)
        return std::nullopt;
    EXPECT_STREQ(name.field, pv->field);
    return pv->value;
}

int set(const Name &name, const std::string &value)
{
    const Record pv(lsqlquery_new_pv_solo(name.field, value.c_str()));
    const Record qualifier(lsqlquery_new_pv_solo(name.qualifierField, name.qualifierValue));
    char *error = const_cast<char *>("untouched");
    const int code = lsqlquery_set_pv_with_error(name.object, name.instance, pv.get(), qualifier.get(), &error);
    EXPECT_EQ(code, code ? lastCode() : 0);
    EXPECT_EQ(code ? lastText() : "none", error ? error : "none");
    free(error);
    return code;
}

int write(const std::vector<std::pair<Name, const char *>> &values, unsigned flags, size_t *failed)
{
    std::vector<lsqlstore_field> fields;
    for (const auto &[name, value] : values)
        fields.push_back({name.object, name.instance, name.qualifierField, name.qualifierValue, name.field, value});
    return lsqlstore_write(fields.data(), fields.size(), flags, failed, nullptr);
}

std::string lastText()
{
    const char *text;
    lsqlstore_last_error(&text);
    return text;
}

std::string describe(const lsqlstore_field &field)
{
    std::string line = field.object;
    if (field.instance)
        line += std::string("/") + field.instance;
    if (field.qualifier_field)
        line += std::string("[") + field.qualifier_field + "=" + field.qualifier_value + "]";
    return line + "." + field.field + (field.value ? std::string("=") + field.value : " removed") + "\n";
}

std::string contents(const char *object)
{
    std::string all;
    const auto visit = [](const lsqlstore_field *field, void *context) {
        *static_cast<std::string *>(context) += describe(*field);
        return 0;
    };
    return lsqlstore_walk(object, visit, &all, nullptr) == 0 ? all : "failed: " + lastText();
}

MDB_env *openPastLibrary(const std::string &folder, unsigned flags)
{
    MDB_env *env;
    EXPECT_EQ(0, mdb_env_create(&env));
    EXPECT_EQ(0, mdb_env_open(env, folder.c_str(), flags, 0600));
    return env;
}

int execCtl(const std::vector<std::string> &arguments)
{
    std::vector<std::string> words = {LSQLCTL};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return execute(words);
}

Result runCtl(const std::vector<std::string> &arguments, const std::string &input)
{
    return capture([&] { return execCtl(arguments); }, input);
}

void StoreTest::SetUp()
{
    setenv("LSQLQUERY_DB", m_folder.c_str(), 1);
    unsetenv("LSQLQUERY_MAP_SIZE");
    lsqlstore_set_report(nullptr);
}

void StoreTest::removeStore() const
{
    std::filesystem::remove(m_dataFile);
    std::filesystem::remove(m_folder + "/lock.mdb");
}
