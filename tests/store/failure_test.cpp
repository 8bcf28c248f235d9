// SPDX-License-Identifier: Apache-2.0
//
// What the store does when the machine does not play along: each failure has its outcome, its text, and loses nothing.
#include "tests/store/store_fixture.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <lmdb.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using testing::AllOf;
using testing::HasSubstr;

namespace
{

using Failure = StoreTest;

const Name MODEL = {"system", nullptr, "model"};

std::vector<std::string> g_reports;

TEST_F(Failure, NoFolderAndNoStoreAreToldApart)
{
    struct {
        std::string folder;
        int readCode, writeCode;
        const char *text;
    } const cases[] = {
        {m_folder + "/none", LSQLSTORE_NO_FOLDER, LSQLSTORE_NO_FOLDER, "mkdir -p"},
        {"/dev/null", LSQLSTORE_NO_FOLDER, LSQLSTORE_NO_FOLDER, "not a folder"},
        {m_folder, LSQLSTORE_NO_STORE, 0, "write the first setting"},
    };
    for (const auto &[folder, readCode, writeCode, text] : cases) {
        setenv("LSQLQUERY_DB", folder.c_str(), 1);
        EXPECT_EQ(std::nullopt, get(MODEL));
        EXPECT_EQ(readCode, lastCode());
        EXPECT_THAT(lastText(), AllOf(HasSubstr("cannot read system model: "), HasSubstr(text), HasSubstr(folder)));
        EXPECT_THAT(contents(), AllOf(HasSubstr("failed: cannot read: "), HasSubstr(text)));
        EXPECT_TRUE(std::filesystem::is_empty(m_folder)) << "a read makes nothing";
        EXPECT_EQ(writeCode, set(MODEL, "x"));
    }
    EXPECT_EQ("x", get(MODEL));
}

TEST_F(Failure, AStoreThatAppearsLaterIsFoundAndReportedOnce)
{
    g_reports.clear();
    lsqlstore_set_report([](const char *line) { g_reports.push_back(line); });
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(std::nullopt, get(MODEL));
    EXPECT_THAT(g_reports, testing::ElementsAre(HasSubstr("no store in this folder yet")));
    ASSERT_EQ(0, inChild([] { return set(MODEL, "x"); }));
    EXPECT_EQ("x", get(MODEL));
    EXPECT_EQ(std::nullopt, get({"system", nullptr, "absent"}));
    EXPECT_EQ(1u, g_reports.size()) << "a field that is not there is no failure";
}

TEST_F(Failure, MapSizeThatIsNone)
{
    for (const char *size : {"x", "-1", "16G", "1M2", "1000", "99999999999999999999"}) {
        setenv("LSQLQUERY_MAP_SIZE", size, 1);
        EXPECT_EQ(LSQLSTORE_INVALID, set(MODEL, "x")) << size;
        EXPECT_THAT(lastText(), HasSubstr("LSQLQUERY_MAP_SIZE"));
    }
}

TEST_F(Failure, AUserWithoutRights)
{
    ASSERT_EQ(0, set(MODEL, "x"));
    EXPECT_EQ(0, inChild([this] {
                  EXPECT_EQ(0, chmod(dataFile().c_str(), 0));
                  EXPECT_TRUE(geteuid() != 0 || setresuid(65534, 65534, 65534) == 0);
                  EXPECT_EQ(LSQLSTORE_DENIED, set(MODEL, "y"));
                  EXPECT_EQ(std::nullopt, get(MODEL));
                  EXPECT_EQ(LSQLSTORE_DENIED, lastCode());
                  EXPECT_THAT(lastText(), HasSubstr("run as the store's owner"));
                  return 0;
              }));
}

TEST_F(Failure, ReadOnlyFileSystem)
{
    SKIP_IF_EMULATED("mounts");
    ASSERT_EQ(0, set(MODEL, "x"));
    std::filesystem::create_directory(m_folder + "/empty");
    const auto code = inMountNamespace([this] {
        const char *folder = m_folder.c_str();
        EXPECT_EQ(0, mount(folder, folder, nullptr, MS_BIND, nullptr));
        EXPECT_EQ(0, mount(folder, folder, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr));
        EXPECT_EQ("x", get(MODEL)) << lastText();
        EXPECT_EQ(LSQLSTORE_READ_ONLY, set(MODEL, "y"));
        EXPECT_THAT(lastText(), HasSubstr("mount it for writing"));
        EXPECT_EQ("x", get(MODEL));
        EXPECT_EQ(0, mount(folder, folder, nullptr, MS_BIND | MS_REMOUNT, nullptr));
        EXPECT_EQ(0, set(MODEL, "y")) << "writable again, with the store open";

        setenv("LSQLQUERY_DB", (m_folder + "/empty").c_str(), 1);
        EXPECT_EQ(0, lsqlstore_close());
        EXPECT_EQ(0, mount(folder, folder, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr));
        EXPECT_EQ(LSQLSTORE_READ_ONLY, set(MODEL, "y"));
        return 0;
    });
    if (!code)
        GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(0, *code);
}

// Write values of 64 kB until that fails with CODE; how many were acknowledged. All of them are there.
int fillUntil(int code, const char *advice)
{
    const std::string value(65536, 'v');
    int count = 0;
    while (count < 1000 && set({"o", nullptr, std::to_string(count).c_str()}, value) == 0)
        count++;
    EXPECT_EQ(code, lastCode()) << lastText();
    EXPECT_THAT(lastText(), AllOf(HasSubstr("cannot write o " + std::to_string(count)), HasSubstr(advice)));
    for (int i = 0; i < count; i++)
        EXPECT_EQ(value, get({"o", nullptr, std::to_string(i).c_str()}));
    EXPECT_EQ(std::nullopt, get({"o", nullptr, std::to_string(count).c_str()})) << "refused, and yet there";
    EXPECT_GT(count, 1);
    return count;
}

TEST_F(Failure, FullFileSystem)
{
    SKIP_IF_EMULATED("mounts");
    const auto code = inMountNamespace([this] {
        EXPECT_EQ(0, mount("none", m_folder.c_str(), "tmpfs", 0, "size=1m"));
        const std::string spare = m_folder + "/spare";
        std::ofstream(spare) << std::string(200000, 's');
        const int count = fillUntil(LSQLSTORE_NO_SPACE, "make room there");
        lsqlstore_close();
        EXPECT_EQ(LSQLSTORE_NO_SPACE, set({"o", nullptr, "another"}, std::string(65536, 'v'))) << "after a fresh start";
        std::filesystem::remove(spare);
        EXPECT_EQ(0, set({"o", nullptr, std::to_string(count).c_str()}, "fits")) << lastText();
        EXPECT_EQ(0, unset({"o", nullptr, "0"}));
        return lsqlstore_close();
    });
    if (!code)
        GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(0, *code);
}

TEST_F(Failure, FullMapGrowsWhereAnyProcessAsksForMore)
{
    setenv("LSQLQUERY_MAP_SIZE", "1M", 1);
    const int count = fillUntil(LSQLSTORE_FULL, "LSQLQUERY_MAP_SIZE");
    const std::string big(300000, 'b');
    EXPECT_EQ(0, inChild([] {
                  setenv("LSQLQUERY_MAP_SIZE", "2M", 1);
                  return set({"o", nullptr, "small"}, "fits the old size too");
              }));
    EXPECT_EQ(0, set({"o", nullptr, "grown"}, big)) << lastText();
    EXPECT_EQ(0, inChild([&] {
                  setenv("LSQLQUERY_MAP_SIZE", "4M", 1);
                  EXPECT_EQ(0, set({"o", nullptr, "big"}, big)) << lastText();
                  return set({"o", nullptr, "bigger"}, big + big);
              }));
    EXPECT_EQ(big, get({"o", nullptr, "big"})) << lastText();
    EXPECT_EQ(0, set({"o", nullptr, std::to_string(count).c_str()}, big)) << lastText();
    EXPECT_EQ(big + big, get({"o", nullptr, "bigger"}));
}

// Take all of the reader table in another process, and be killed when EXPECTATION has been looked at.
void whileReadersAreFull(const std::string &folder, const std::function<void()> &expectation)
{
    int ready[2];
    ASSERT_EQ(0, pipe(ready));
    const pid_t hog = startChild([&] {
        MDB_env *env;
        MDB_txn *txn;
        mdb_env_create(&env);
        mdb_env_open(env, folder.c_str(), MDB_NOTLS, 0600);
        while (mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn) == 0) {
        }
        EXPECT_EQ(1, write(ready[1], "r", 1));
        pause();
        return 0;
    });
    char byte;
    EXPECT_EQ(1, read(ready[0], &byte, 1));
    expectation();
    kill(hog, SIGKILL);
    EXPECT_EQ(-SIGKILL, waitFor(hog));
    close(ready[0]);
    close(ready[1]);
}

TEST_F(Failure, MoreReadersThanTheStoreHasRoomFor)
{
    SKIP_IF_EMULATED("robust locks");
    for (const bool isOpen : {false, true}) {
        EXPECT_EQ(0, lsqlstore_close());
        ASSERT_EQ(0, set(MODEL, "x"));
        EXPECT_TRUE(isOpen || lsqlstore_close() == 0);
        whileReadersAreFull(m_folder, [] {
            EXPECT_EQ(std::nullopt, get(MODEL));
            EXPECT_EQ(LSQLSTORE_READERS, lastCode());
            EXPECT_THAT(lastText(), HasSubstr("end some of the programs"));
        });
        EXPECT_EQ("x", get(MODEL)) << "the dead keep nobody out: " << lastText();
        whileReadersAreFull(m_folder, [] { EXPECT_EQ("x", get(MODEL)) << "who has read before goes on"; });
    }
}

TEST_F(Failure, ASlowWalkLeavesWritersTheirRoom)
{
    setenv("LSQLQUERY_MAP_SIZE", "1M", 1);
    ASSERT_EQ(0, set(MODEL, "x"));
    const auto visit = [](const lsqlstore_field *field, void *) {
        for (int i = 0; i < 1000; i++)
            EXPECT_EQ(0, set(MODEL, std::to_string(i))) << lastText();
        EXPECT_EQ(0, lsqlstore_close());
        EXPECT_STREQ("x", field->value);
        return 0;
    };
    EXPECT_EQ(0, lsqlstore_walk(nullptr, visit, nullptr, nullptr));
}

TEST_F(Failure, AStoreThatWasReplacedIsNotWrittenInto)
{
    ASSERT_EQ(0, set(MODEL, "old"));
    ASSERT_EQ("old", get(MODEL));
    std::filesystem::remove(dataFile());
    std::filesystem::remove(m_folder + "/lock.mdb");
    EXPECT_EQ(0, set({"system", nullptr, "version"}, "new"));
    EXPECT_EQ("system.version=new\n", contents());
    EXPECT_TRUE(std::filesystem::exists(dataFile()));
}

struct Damage {
    const char *what;
    size_t length; // of the file afterwards; 0: unchanged
    size_t at;     // where the damage begins
    std::string bytes;
};

class Damaged : public StoreTest, public testing::WithParamInterface<Damage>
{
};

TEST_P(Damaged, IsToldAndEndsNobody)
{
    const Damage &damage = GetParam();
    ASSERT_EQ(0, set(MODEL, "x"));
    ASSERT_EQ(0, set({"o", nullptr, "large"}, std::string(65536, 'l')));
    ASSERT_EQ(0, lsqlstore_close());
    std::filesystem::remove(m_folder + "/lock.mdb");
    if (damage.length)
        std::filesystem::resize_file(dataFile(), damage.length);
    std::fstream(dataFile(), std::ios::in | std::ios::out | std::ios::binary).seekp(static_cast<long>(damage.at))
        << damage.bytes;
    EXPECT_EQ(0, inChild([] {
                  EXPECT_EQ(std::nullopt, get(MODEL));
                  EXPECT_EQ(LSQLSTORE_DAMAGED, lastCode());
                  EXPECT_THAT(lastText(), HasSubstr("load the latest dump"));
                  EXPECT_EQ(LSQLSTORE_DAMAGED, set(MODEL, "y"));
                  EXPECT_THAT(contents(), HasSubstr("failed: "));
                  return 0;
              }));
}

INSTANTIATE_TEST_SUITE_P(Failure, Damaged,
                         testing::Values(Damage{"NotAStore", 0, 0, std::string(4096, 'g')},
                                         Damage{"Magic", 0, 16, "\x01\x02\x03\x04"},
                                         Damage{"PageSizeZero", 0, sizeof(void *) == 8 ? 40 : 28, std::string(4, '\0')},
                                         Damage{"OneByte", 1, 0, "x"}, Damage{"OnePage", 4096, 0, ""},
                                         Damage{"TwoPages", 8192, 0, ""}, Damage{"CutInAValue", 40960, 0, ""}),
                         [](const auto &test) { return test.param.what; });

// Whatever single page is hit: reads and writes end with an outcome, not with a signal.
TEST_F(Failure, NoDamagedPageEndsAProcess)
{
    for (int i = 0; i < 400; i++)
        ASSERT_EQ(0, set({"o", std::to_string(i).c_str(), "field"}, std::string(60, 'v')));
    ASSERT_EQ(0, lsqlstore_close());
    const std::string whole = m_folder + "/whole";
    std::filesystem::copy_file(dataFile(), whole);
    for (size_t page = 2; page < 24; page++) {
        std::filesystem::copy_file(whole, dataFile(), std::filesystem::copy_options::overwrite_existing);
        std::filesystem::remove(m_folder + "/lock.mdb");
        std::fstream(dataFile(), std::ios::in | std::ios::out | std::ios::binary).seekp(static_cast<long>(page * 4096))
            << std::string(4096, '\0');
        EXPECT_EQ(0, inChild([] {
                      contents();
                      for (int i = 0; i < 400; i++) {
                          get({"o", std::to_string(i).c_str(), "field"});
                          set({"o", std::to_string(i).c_str(), "other"}, "w");
                      }
                      return 0;
                  }))
            << "page " << page;
    }
}

} // namespace
