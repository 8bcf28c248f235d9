// SPDX-License-Identifier: Apache-2.0
//
// Changes reach those who watch: each one, in order, at once.
#include "tests/store/store_fixture.h"

#include <poll.h>

namespace
{

class Watch : public StoreTest
{
protected:
    void open()
    {
        m_watch.reset(lsqlstore_watch_open(nullptr));
        ASSERT_TRUE(m_watch) << lastText();
    }

    // All that is new now, one line per change.
    std::string changes()
    {
        std::string all;
        lsqlstore_field change;
        int outcome;
        while ((outcome = lsqlstore_watch_next(m_watch.get(), &change)) > 0)
            all += outcome == LSQLSTORE_WATCH_LOST ? "lost\n" : describe(change);
        return outcome == LSQLSTORE_WATCH_ERROR ? all + "error: " + lastText() : all;
    }

    bool isReadable(int ms)
    {
        pollfd descriptor = {lsqlstore_watch_fd(m_watch.get()), POLLIN, 0};
        return poll(&descriptor, 1, ms) == 1;
    }

    // Wait for changes to come, from another process perhaps.
    std::string nextChanges()
    {
        std::string all;
        EXPECT_TRUE(eventually([&] { return isReadable(0) && !(all = changes()).empty(); }));
        return all;
    }

    std::unique_ptr<lsqlstore_watch, decltype(&lsqlstore_watch_close)> m_watch{nullptr, lsqlstore_watch_close};
};

const Name QUALIFIED = {"o", "i", "f", "q", "v"};

TEST_F(Watch, TellsEveryChangeInOrderAlsoOfTheSameValue)
{
    ASSERT_EQ(0, set(MODEL, "before"));
    open();
    EXPECT_EQ("", changes());
    EXPECT_EQ(0, set(MODEL, "1"));
    EXPECT_EQ(0, set(MODEL, "1"));
    EXPECT_EQ(0, write({{QUALIFIED, "two\nlines"}, {MODEL, nullptr}}));
    EXPECT_EQ(LSQLSTORE_NOT_FOUND, unset(MODEL));
    EXPECT_EQ("system.model=1\nsystem.model=1\no/i[q=v].f=two\nlines\nsystem.model removed\n", changes());
    EXPECT_EQ(0, set(MODEL, "2"));
    EXPECT_EQ(0, write({{QUALIFIED, "kept"}}, LSQLSTORE_REPLACE));
    EXPECT_EQ("system.model=2\nsystem.model removed\no/i[q=v].f=kept\n", changes());
}

TEST_F(Watch, TellsWithin50Milliseconds)
{
    ASSERT_EQ(0, set(MODEL, "before"));
    open();
    int late = 0;
    for (int i = 0; i < 21; i++) {
        while (isReadable(30)) // not for ever
            EXPECT_EQ("", changes());
        // The child's end comes after the write was acknowledged, and most of what is measured is the child's life.
        const auto start = std::chrono::steady_clock::now();
        const pid_t child = startChild([] { return set(MODEL, "same"); });
        EXPECT_EQ("system.model=same\n", nextChanges());
        late += std::chrono::steady_clock::now() - start > std::chrono::milliseconds(isEmulatedHere() ? 5000 : 50);
        EXPECT_EQ(0, waitFor(child));
    }
    EXPECT_LE(late, 10) << "not the median: others use the machine, too";
}

TEST_F(Watch, SaysWhenChangesWereLost)
{
    ASSERT_EQ(0, set(MODEL, "before"));
    open();
    for (int i = 0; i <= 1024; i++)
        ASSERT_EQ(0, set(MODEL, std::to_string(i)));
    EXPECT_EQ("lost\n", changes());
    std::string all;
    for (int i = 0; i < 1024; i++) {
        ASSERT_EQ(0, set(MODEL, "x"));
        all += "system.model=x\n";
    }
    EXPECT_EQ(all, changes()) << "1,024 changes are kept";
    for (int i = 0; i < 40; i++)
        ASSERT_EQ(0, set(MODEL, std::string(65536, 'l')));
    EXPECT_EQ("lost\n", changes()) << "and no more than 1 MB of them";
}

TEST_F(Watch, NoticesTheFirstStoreAndAnotherInItsPlace)
{
    open();
    EXPECT_EQ("", changes());
    ASSERT_EQ(0, inChild([] { return set(MODEL, "first"); }));
    EXPECT_EQ("system.model=first\n", nextChanges());
    removeStore();
    ASSERT_EQ(0, inChild([] { return set(MODEL, "other"); }));
    EXPECT_EQ("lost\n", nextChanges());
    EXPECT_EQ("other", get(MODEL));
    ASSERT_EQ(0, inChild([] { return set(MODEL, "more"); }));
    EXPECT_EQ("system.model=more\n", nextChanges());
}

TEST_F(Watch, NeedsAFolder)
{
    open();
    std::filesystem::remove_all(m_folder);
    EXPECT_THAT(nextChanges(), HasSubstr("folder does not exist"));
    EXPECT_EQ(nullptr, lsqlstore_watch_open(nullptr));
    EXPECT_EQ(LSQLSTORE_NO_FOLDER, lastCode());
}

} // namespace
