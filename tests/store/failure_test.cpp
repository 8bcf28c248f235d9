// SPDX-License-Identifier: Apache-2.0
//
// What the store does when the machine does not play along: each failure has its outcome, its text, and loses nothing.
#include "tests/store/store_fixture.h"

#include <csignal>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

class Failure : public StoreTest
{
protected:
    // Another store in the place of ours.
    void writeDamaged(std::string bytes, size_t at, const std::string &damage) const
    {
        removeStore();
        writeFile(m_dataFile, bytes.replace(at, damage.size(), damage));
    }
};

std::vector<std::string> g_reports;

const std::string LARGE(65536, 'l');

Name numbered(const std::string &number)
{
    return {"o", nullptr, number.c_str()};
}

// What the body does in a mount namespace of its own.
void inMountNamespace(const Body &body)
{
    SKIP_IF_EMULATED("mounts");
    constexpr int NOT_ALLOWED = 77;
    const int code = inChild([&] {
        const bool isAllowed =
            enterNamespaces(CLONE_NEWNS) && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        return isAllowed ? body() : NOT_ALLOWED;
    });
    if (code == NOT_ALLOWED)
        GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(0, code);
}

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
                  EXPECT_EQ(0, chmod(m_dataFile.c_str(), 0));
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
    ASSERT_EQ(0, set(MODEL, "x"));
    std::filesystem::create_directory(m_folder + "/empty");
    inMountNamespace([this] {
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
}

// Write large values until that fails with CODE; how many were acknowledged. All of them are there.
int fillUntil(int code, const char *advice)
{
    int count = 0;
    while (count < 1000 && set(numbered(std::to_string(count)), LARGE) == 0)
        count++;
    EXPECT_EQ(code, lastCode()) << lastText();
    EXPECT_THAT(lastText(), AllOf(HasSubstr("cannot write o " + std::to_string(count)), HasSubstr(advice)));
    for (int i = 0; i < count; i++)
        EXPECT_EQ(LARGE, get(numbered(std::to_string(i))));
    EXPECT_EQ(std::nullopt, get(numbered(std::to_string(count)))) << "refused, and yet there";
    EXPECT_GT(count, 1);
    return count;
}

TEST_F(Failure, FullFileSystem)
{
    inMountNamespace([this] {
        EXPECT_EQ(0, mount("none", m_folder.c_str(), "tmpfs", 0, "size=1m"));
        const std::string spare = m_folder + "/spare";
        writeFile(spare, std::string(200000, 's'));
        const int count = fillUntil(LSQLSTORE_NO_SPACE, "make room there");
        lsqlstore_close();
        EXPECT_EQ(LSQLSTORE_NO_SPACE, set(numbered("another"), LARGE)) << "after a fresh start";
        std::filesystem::remove(spare);
        EXPECT_EQ(0, set(numbered(std::to_string(count)), "fits")) << lastText();
        EXPECT_EQ(0, unset(numbered("0")));
        return lsqlstore_close();
    });
}

TEST_F(Failure, FullMapGrowsWhereAnyProcessAsksForMore)
{
    setenv("LSQLQUERY_MAP_SIZE", "1M", 1);
    const int count = fillUntil(LSQLSTORE_FULL, "LSQLQUERY_MAP_SIZE");
    const std::string big(300000, 'b');
    const auto setWith = [](const char *size, const char *field, const std::string &value) {
        return inChild([&] {
            setenv("LSQLQUERY_MAP_SIZE", size, 1);
            return set(numbered(field), value);
        });
    };
    EXPECT_EQ(0, setWith("2M", "small", "fits the old size too"));
    EXPECT_EQ(0, set(numbered("grown"), big)) << lastText();
    EXPECT_EQ(0, setWith("4M", "bigger", big + big + big));
    EXPECT_EQ(0, set(numbered(std::to_string(count)), big)) << lastText();
    EXPECT_EQ(big + big + big, get(numbered("bigger"))) << lastText();
}

// Take all of the reader table in another process, and kill it when EXPECTATION has been looked at.
void whileReadersAreFull(const std::string &folder, const std::function<void()> &expectation)
{
    Program hog([&] {
        MDB_env *const env = openPastLibrary(folder, MDB_NOTLS);
        MDB_txn *txn;
        while (mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn) == 0) {
        }
        puts("full");
        fflush(stdout);
        return pause();
    });
    EXPECT_TRUE(eventually([&] { return hog.out() == "full\n"; })) << hog.err();
    expectation();
    hog.signal(SIGKILL);
    EXPECT_EQ(-SIGKILL, hog.status());
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
    removeStore();
    EXPECT_EQ(0, set({"system", nullptr, "version"}, "new"));
    EXPECT_EQ("system.version=new\n", contents());
    EXPECT_TRUE(std::filesystem::exists(m_dataFile));
}

TEST_F(Failure, DamageIsToldAndEndsNobody)
{
    const struct {
        const char *what;
        size_t length; // of the file afterwards; 0: unchanged
        size_t at;     // where the damage begins
        std::string bytes;
    } cases[] = {
        {"not a store", 0, 0, std::string(4096, 'g')},
        {"magic number", 0, 16, "\x01\x02\x03\x04"},
        {"page size 0", 0, sizeof(void *) == 8 ? 40 : 28, std::string(4, '\0')},
        {"one byte", 1, 0, "x"},
        {"one page", 4096, 0, ""},
        {"two pages", 8192, 0, ""},
        {"cut in a value", 40960, 0, ""},
    };
    ASSERT_EQ(0, set(MODEL, "x"));
    ASSERT_EQ(0, set(numbered("large"), LARGE));
    ASSERT_EQ(0, lsqlstore_close());
    const std::string whole = readFile(m_dataFile);
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        writeDamaged(c.length ? whole.substr(0, c.length) : whole, c.at, c.bytes);
        EXPECT_EQ(0, inChild([] {
                      EXPECT_EQ(std::nullopt, get(MODEL));
                      EXPECT_EQ(LSQLSTORE_DAMAGED, lastCode());
                      EXPECT_THAT(lastText(), HasSubstr("load the latest dump"));
                      EXPECT_EQ(LSQLSTORE_DAMAGED, set(MODEL, "y"));
                      EXPECT_THAT(contents(), HasSubstr("failed: "));
                      return 0;
                  }));
    }
}

// Whatever single page is hit: reads and writes end with an outcome, not with a signal.
TEST_F(Failure, NoDamagedPageEndsAProcess)
{
    const auto row = [](int i) { return std::to_string(i); };
    for (int i = 0; i < 400; i++)
        ASSERT_EQ(0, set({"o", row(i).c_str(), "field"}, std::string(60, 'v')));
    ASSERT_EQ(0, lsqlstore_close());
    const std::string whole = readFile(m_dataFile);
    for (size_t page = 2; page < 24; page++) {
        SCOPED_TRACE(page);
        writeDamaged(whole, page * 4096, std::string(4096, '\0'));
        EXPECT_EQ(0, inChild([&] {
                      contents();
                      for (int i = 0; i < 400; i++) {
                          get({"o", row(i).c_str(), "field"});
                          set({"o", row(i).c_str(), "other"}, "w");
                      }
                      return 0;
                  }));
    }
}

} // namespace
