// SPDX-License-Identifier: Apache-2.0
#include "tests/store/store_fixture.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

std::string readAll(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string orEmpty(const char *text)
{
    return text ? text : "";
}

bool writeFile(const char *path, const std::string &text)
{
    std::ofstream out(path);
    out << text << std::flush;
    return out.good();
}

bool enterMountNamespace()
{
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (user != 0) {
        if (unshare(CLONE_NEWUSER) != 0 || !writeFile("/proc/self/setgroups", "deny") ||
            !writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") ||
            !writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1"))
            return false;
    }
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

} // namespace

std::optional<std::string> get(const Name &name)
{
    lsqlquery_pv *const pv = name.qualifierField ? lsqlquery_get_pv_q1(name.object, name.instance, name.field,
                                                                       name.qualifierField, name.qualifierValue)
                                                 : lsqlquery_get_pv(name.object, name.instance, name.field);
    std::optional<std::string> value;
    if (pv) {
        EXPECT_STREQ(name.field, pv->field);
        value = pv->value;
    }
    lsqlquery_destroy_pv(pv);
    return value;
}

int set(const Name &name, const std::string &value)
{
    lsqlquery_pv *const pv = lsqlquery_new_pv_solo(name.field, value.c_str());
    lsqlquery_pv *const qualifier = lsqlquery_new_pv_solo(name.qualifierField, name.qualifierValue);
    char *error = const_cast<char *>("untouched");
    const int code = lsqlquery_set_pv_with_error(name.object, name.instance, pv, qualifier, &error);
    EXPECT_EQ(code == 0, error == nullptr);
    if (code) {
        EXPECT_EQ(code, lastCode());
        EXPECT_EQ(error, lastText());
    }
    free(error);
    lsqlquery_destroy_pv(pv);
    lsqlquery_destroy_pv(qualifier);
    return code;
}

int unset(const Name &name)
{
    const lsqlstore_field field = {name.object,         name.instance, name.qualifierField,
                                   name.qualifierValue, name.field,    nullptr};
    return lsqlstore_write(&field, 1, 0, nullptr, nullptr);
}

int lastCode()
{
    return lsqlstore_last_error(nullptr);
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
        line += "/" + std::string(field.instance);
    if (field.qualifier_field)
        line += "[" + std::string(field.qualifier_field) + "=" + orEmpty(field.qualifier_value) + "]";
    return line + "." + field.field + (field.value ? "=" + std::string(field.value) : " removed") + "\n";
}

std::string contents(const char *object)
{
    std::string all;
    const auto visit = [](const lsqlstore_field *field, void *context) {
        *static_cast<std::string *>(context) += describe(*field);
        return 0;
    };
    if (lsqlstore_walk(object, visit, &all, nullptr) != 0)
        all = "failed: " + lastText();
    return all;
}

pid_t startChild(const std::function<int()> &body)
{
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const int code = body();
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 99 : code);
    }
    return child;
}

int waitFor(pid_t child)
{
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

int inChild(const std::function<int()> &body)
{
    return waitFor(startChild(body));
}

std::optional<int> inMountNamespace(const std::function<int()> &body)
{
    constexpr int NOT_ALLOWED = 77;
    const int code = inChild([&] { return enterMountNamespace() ? body() : NOT_ALLOWED; });
    return code == NOT_ALLOWED ? std::nullopt : std::optional(code);
}

bool isEmulated()
{
    return getenv("VXP_EMULATED") != nullptr;
}

bool eventually(const std::function<bool()> &condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

int execCtl(const std::vector<std::string> &arguments)
{
    std::vector<std::string> words;
    std::stringstream command(LSQLCTL);
    for (std::string word; std::getline(command, word, '|');)
        if (!word.empty())
            words.push_back(word);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    return 98;
}

Finished runCtl(const std::vector<std::string> &arguments, const std::string &input)
{
    char folder[] = "/tmp/lsqlctl-test-XXXXXX";
    EXPECT_TRUE(mkdtemp(folder));
    const std::string base = folder;
    std::ofstream(base + "/in", std::ios::binary) << input;
    const int code = inChild([&] {
        dup2(open((base + "/in").c_str(), O_RDONLY), 0);
        dup2(open((base + "/out").c_str(), O_WRONLY | O_CREAT, 0600), 1);
        dup2(open((base + "/err").c_str(), O_WRONLY | O_CREAT, 0600), 2);
        return execCtl(arguments);
    });
    Finished finished = {code, readAll(base + "/out"), readAll(base + "/err")};
    std::filesystem::remove_all(base);
    return finished;
}

void StoreTest::SetUp()
{
    // In memory where there is such a place: thousands of durable writes would wait for the disk.
    std::string name = (access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + std::string("/store-test-XXXXXX");
    ASSERT_TRUE(mkdtemp(name.data()));
    m_folder = name;
    setenv("LSQLQUERY_DB", m_folder.c_str(), 1);
    unsetenv("LSQLQUERY_MAP_SIZE");
    lsqlstore_set_report(nullptr);
}

void StoreTest::TearDown()
{
    EXPECT_EQ(LSQLSTORE_OK, lsqlstore_close());
    std::filesystem::remove_all(m_folder);
}
