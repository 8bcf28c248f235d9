// SPDX-License-Identifier: Apache-2.0
//
// What the store does when the machine does not play along: each failure has its outcome, its text, and loses nothing.
#include "tests/store/store_fixture.h"

#include <csignal>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using Failure = StoreTest;

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
        if (!enterNamespaces(CLONE_NEWNS) || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return NOT_ALLOWED;
        return body();
    });
    if (code == NOT_ALLOWED)
        GTEST_SKIP() << "no right to mount";
    EXPECT_EQ(0, code);
}

TEST_F(Failure, NoFolderAndNoStoreAreToldApart)
{
    const std::tuple<std::string, int, int, const char *> cases[] = {
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

    // A relative name counts from where the process has begun.
    setenv("LSQLQUERY_DB", std::filesystem::relative(m_folder).c_str(), 1);
    const std::string elsewhere = m_folder + "/so/deep/that/no/name/with/dots/leads/out/of/it";
    std::filesystem::create_directories(elsewhere);
    EXPECT_EQ(0, inChild([&] {
                  EXPECT_EQ("x", get(MODEL));
                  EXPECT_EQ(0, chdir(elsewhere.c_str()));
                  return set(MODEL, "y");
              }));
    EXPECT_EQ("y", get(MODEL));
}

TEST_F(Failure, AStoreThatAppearsLaterIsFoundAndReportedOnce)
{
    static std::vector<std::string> s_reports;
    lsqlstore_set_report([](const char *line) { s_reports.push_back(line); });
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(std::nullopt, get(MODEL));
    EXPECT_THAT(s_reports, testing::ElementsAre(HasSubstr("no store in this folder yet")));
    ASSERT_EQ(0, inChild([] { return set(MODEL, "x"); }));
    EXPECT_EQ("x", get(MODEL));
    EXPECT_EQ(std::nullopt, get({"system", nullptr, "absent"}));
    EXPECT_EQ(1u, s_reports.size()) << "a field that is not there is no failure";
    removeStore();
    EXPECT_EQ(0, set({"system", nullptr, "version"}, "new"));
    EXPECT_EQ("system.version=new\n", contents()) << "written into the one that is gone";
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
    const std::string empty = m_folder + "/empty";
    std::filesystem::create_directory(empty);
    inMountNamespace([&] {
        const char *folder = m_folder.c_str();
        EXPECT_EQ(0, mount(folder, folder, nullptr, MS_BIND, nullptr));
        EXPECT_EQ(0, mount(folder, folder, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr));
        for (const char *store : {empty.c_str(), folder}) {
            setenv("LSQLQUERY_DB", store, 1);
            EXPECT_EQ(LSQLSTORE_READ_ONLY, set(MODEL, "y"));
            EXPECT_THAT(lastText(), HasSubstr("mount it for writing"));
        }
        EXPECT_EQ("x", get(MODEL)) << lastText();
        EXPECT_EQ(0, mount(folder, folder, nullptr, MS_BIND | MS_REMOUNT, nullptr));
        EXPECT_EQ(0, set(MODEL, "y")) << "writable again, with the store open";
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

    // Too much for the size that a process asks for does not cost it that size.
    const std::string huge(1000000, 'h');
    std::vector<std::pair<Name, const char *>> fields;
    for (const char *name : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l"})
        fields.push_back({{"o", nullptr, name}, huge.c_str()});
    setenv("LSQLQUERY_MAP_SIZE", "12M", 1);
    EXPECT_EQ(0, lsqlstore_close());
    EXPECT_EQ(LSQLSTORE_FULL, write(fields));
    fields.resize(3);
    EXPECT_EQ(0, write(fields)) << lastText();
}

TEST_F(Failure, NoMemoryForTheMap)
{
    ASSERT_EQ(0, set(MODEL, "x"));
    EXPECT_EQ(0, inChild([] {
                  setenv("LSQLQUERY_MAP_SIZE", sizeof(void *) == 8 ? "200000000M" : "2047M", 1);
                  EXPECT_EQ(std::nullopt, get(MODEL));
                  EXPECT_EQ(LSQLSTORE_NO_MEMORY, lastCode());
                  EXPECT_EQ(LSQLSTORE_NO_MEMORY, set(MODEL, "y"));
                  return 0;
              }));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__clang__) // a sanitizer takes all the address space that there is
    SKIP_IF_EMULATED("limits");
    // Another process lets the store grow beyond what this one may have.
    EXPECT_EQ(0, inChild([] {
                  EXPECT_EQ("x", get(MODEL));
                  rlimit limit;
                  getrlimit(RLIMIT_AS, &limit);
                  const auto allow = [&](rlim_t bytes) {
                      limit.rlim_cur = bytes;
                      EXPECT_EQ(0, setrlimit(RLIMIT_AS, &limit));
                  };
                  const rlim_t all = limit.rlim_cur;
                  allow(std::stoul(readFile("/proc/self/statm")) * static_cast<rlim_t>(getpagesize()) + (32 << 20));
                  EXPECT_EQ(0, inChild([&] {
                                allow(all);
                                setenv("LSQLQUERY_MAP_SIZE", "256M", 1);
                                for (int i = 0; i < 20; i++)
                                    EXPECT_EQ(0, set(numbered(std::to_string(i)), std::string(1000000, 'h')));
                                return 0;
                            }));
                  EXPECT_EQ(std::nullopt, get(MODEL));
                  EXPECT_EQ(LSQLSTORE_NO_MEMORY, lastCode());
                  allow(all);
                  EXPECT_EQ("x", get(MODEL));
                  return 0;
              }));
#endif
}

TEST_F(Failure, MoreReadersThanTheStoreHasRoomFor)
{
    SKIP_IF_EMULATED("robust locks");
    for (const std::string state : {"closed", "open", "has read"}) {
        SCOPED_TRACE(state);
        ASSERT_EQ(0, set(MODEL, "x"));
        if (state == "closed")
            lsqlstore_close();
        if (state == "has read")
            get(MODEL);
        Program hog([this] {
            MDB_env *const env = openPastLibrary(m_folder, MDB_NOTLS);
            MDB_txn *txn;
            while (mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn) == 0) {
            }
            puts("full");
            fflush(stdout);
            return pause();
        });
        EXPECT_TRUE(eventually([&] { return hog.out() == "full\n"; })) << hog.err();
        const auto value = get(MODEL);
        EXPECT_EQ(state == "has read", value == "x");
        if (!value) {
            EXPECT_EQ(LSQLSTORE_READERS, lastCode());
            EXPECT_THAT(lastText(), HasSubstr("end some of the programs"));
        }
        hog.signal(SIGKILL);
        EXPECT_EQ(-SIGKILL, hog.status());
        EXPECT_EQ("x", get(MODEL)) << "the dead keep nobody out: " << lastText();
        EXPECT_EQ(0, lsqlstore_close());
    }
}

// Whatever is hit: reads and writes end with an outcome, not with a signal.
TEST_F(Failure, DamageIsToldAndEndsNobody)
{
    struct Damage {
        std::string what;
        size_t at;
        std::string bytes;
        size_t length = std::string::npos; // of what is left
    };
    std::vector<Damage> cases = {
        {"not a store", 0, std::string(4096, 'g')},
        {"magic number", 16, "\x01\x02\x03\x04"},
        {"page size 0", sizeof(void *) == 8 ? 40 : 28, std::string(4, '\0')},
        {"one byte", 0, "x", 1},
        {"one page", 0, "", 4096},
        {"cut short", 0, "", 40960},
    };
    for (size_t page = 2; page < 24; page++)
        cases.push_back({"page " + std::to_string(page), page * 4096, std::string(4096, '\0')});
    std::vector<std::string> rows;
    for (int i = 0; i < 400; i++) {
        rows.push_back(std::to_string(i));
        ASSERT_EQ(0, set({"o", rows.back().c_str(), "field"}, std::string(60, 'v')));
    }
    ASSERT_EQ(0, lsqlstore_close());
    const std::string whole = readFile(m_dataFile);
    for (const auto &[what, at, bytes, length] : cases) {
        SCOPED_TRACE(what);
        removeStore();
        writeFile(m_dataFile, whole.substr(0, length).replace(at, bytes.size(), bytes));
        EXPECT_EQ(0, inChild([&, isPage = at >= 8192] {
                      const std::string all = contents();
                      if (isPage) {
                          for (size_t i = 0; i < rows.size(); i++) {
                              get({"o", rows[i].c_str(), "field"});
                              if (i % 16 == 0) // each page has more rows than that
                                  set({"o", rows[i].c_str(), "other"}, "w");
                          }
                          return 0; // it may hold nothing that counts
                      }
                      EXPECT_THAT(all, HasSubstr("failed: "));
                      EXPECT_EQ(std::nullopt, get(MODEL));
                      EXPECT_EQ(LSQLSTORE_DAMAGED, lastCode());
                      EXPECT_THAT(lastText(), HasSubstr("load the latest dump"));
                      EXPECT_EQ(LSQLSTORE_DAMAGED, set(MODEL, "y"));
                      return 0;
                  }));
    }
}

} // namespace
