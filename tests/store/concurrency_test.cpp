// SPDX-License-Identifier: Apache-2.0
//
// Many threads and processes at one time, and writers that are killed.
#include "tests/store/store_fixture.h"

#include <atomic>
#include <csignal>
#include <malloc.h>
#include <random>
#include <sys/mman.h>
#include <thread>

namespace
{

using Concurrency = StoreTest;
using namespace std::chrono_literals;

const Name COUNT = {"o", nullptr, "count"}, COPY = {"o", nullptr, "copy"};

// A number that parent and children see, 0 at first.
std::atomic<int> &shared()
{
    return *static_cast<std::atomic<int> *>(
        mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
}

TEST_F(Concurrency, AReadDoesNotWaitForAWrite)
{
    ASSERT_EQ(0, set(COUNT, "1"));
    std::atomic<int> &isWriting = shared(), &isRead = shared();
    const pid_t writer = startChild([&] {
        MDB_txn *txn;
        EXPECT_EQ(0, mdb_txn_begin(openPastLibrary(m_folder), nullptr, 0, &txn));
        isWriting = 1;
        EXPECT_TRUE(eventually([&] { return isRead == 1; })) << "the reads waited";
        mdb_txn_abort(txn);
        return 0;
    });
    EXPECT_TRUE(eventually([&] { return isWriting == 1; }));
    EXPECT_EQ("1", get(COUNT));
    EXPECT_EQ("o.count=1\n", contents());
    // Another process too, which opens the store while it is being written to; and a thread next to one that waits.
    EXPECT_EQ("1\n", runCtl({"get", "o", "count"}).strOut);
    std::thread waiting([] { EXPECT_EQ(0, set(COUNT, "2")); });
    for (int i = 0; i < 1000; i++)
        get(COUNT);
    EXPECT_EQ("1", get(COUNT));
    isRead = 1;
    waiting.join();
    EXPECT_EQ(0, waitFor(writer));
    EXPECT_EQ("2", get(COUNT));
}

TEST_F(Concurrency, AKilledWriterLosesNothingAndStopsNobody)
{
    SKIP_IF_EMULATED("robust locks");
    ASSERT_EQ(0, write({{COUNT, "0"}, {COPY, "0"}})); // the first writer may be killed before its first write
    std::atomic<int> &acknowledged = shared();
    std::atomic<bool> isOver{false};
    std::thread reader([&] {
        while (!isOver) {
            const auto start = std::chrono::steady_clock::now();
            EXPECT_NE(std::nullopt, get(COUNT)) << lastText();
            EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
        }
    });
    std::minstd_rand random(7);
    for (int round = 0; round < 150; round++) {
        const int before = acknowledged;
        const pid_t writer = startChild([&] {
            // Every process leaves its own copies, of a size that makes pages split and join.
            for (int i = acknowledged + 1;; i++) {
                const std::string text = std::to_string(i), filler(static_cast<size_t>(i % 50) * 100, 'f');
                const char *const value = text.c_str();
                const int code = write({{COUNT, value}, {{"o", "copy", &text.back()}, filler.c_str()}, {COPY, value}});
                EXPECT_EQ(0, code) << lastText();
                if (code)
                    return code;
                acknowledged = i;
            }
        });
        if (round % 2) { // the others are killed wherever they are, before their first write perhaps
            EXPECT_TRUE(eventually([&] { return acknowledged > before; })) << "the writer never got going";
        }
        std::this_thread::sleep_for(random() % 15000 * 1us);
        kill(writer, SIGKILL);
        ASSERT_EQ(-SIGKILL, waitFor(writer)) << "the writer failed";
        const std::string count = get(COUNT).value_or("none");
        ASSERT_GE(std::stoi(count), acknowledged);
        ASSERT_EQ(count, get(COPY)) << "half a transaction";
        acknowledged = std::stoi(count);
    }
    EXPECT_EQ(0, set(COUNT, "end"));
    isOver = true;
    reader.join();
}

TEST_F(Concurrency, EveryoneSeesWholeTransactionsAndTheirOwnWrites)
{
    const auto work = [](const std::string &me) {
        const Name own = {"own", nullptr, me.c_str()};
        for (int i = 0; i < 200; i++) {
            const std::string text = me + std::to_string(i);
            const char *const value = text.c_str();
            EXPECT_EQ(0, write({{{"p", nullptr, "a"}, value}, {{"p", nullptr, "b"}, value}, {own, value}}));
            EXPECT_EQ(text, get(own));
            const std::string seen = contents("p"), first = seen.substr(4, seen.find('\n') - 4);
            EXPECT_EQ("p.a=" + first + "\np.b=" + first + "\n", seen);
        }
    };
    const auto inTwoThreads = [&](const std::string &process) {
        std::thread first(work, process + "1-");
        work(process + "2-");
        first.join();
        return 0;
    };
    const pid_t other = startChild([&] { return inTwoThreads("b"); });
    inTwoThreads("a");
    EXPECT_EQ(0, waitFor(other));
}

TEST_F(Concurrency, ThreadsComeAndGoAndLeaveNothing)
{
    const auto churn = [](int threads) {
        for (int i = 0; i < threads; i += 2) {
            std::thread first([] { EXPECT_EQ(0, set(COUNT, "1")); });
            std::thread second([] { EXPECT_NE(std::nullopt, get(COUNT)); });
            first.join();
            second.join();
        }
    };
    // Descriptors, and entries of LMDB's reader table: a child asks for these, a process must not open a store twice.
    const auto taken = [this] {
        const std::filesystem::directory_iterator descriptors("/proc/self/fd");
        const int readers = inChild([this] {
            MDB_envinfo info;
            mdb_env_info(openPastLibrary(m_folder), &info);
            return static_cast<int>(info.me_numreaders);
        });
        EXPECT_LE(readers, 2);
        return std::pair(std::distance(begin(descriptors), end(descriptors)), readers);
    };
    ASSERT_EQ(0, set(COUNT, "0"));
    churn(500);
    const auto before = taken();
    const size_t heap = mallinfo2().uordblks;
    churn(isEmulatedHere() ? 500 : 4000);
    EXPECT_LT(mallinfo2().uordblks, heap + 16384) << "more than the C library takes for a few threads";
    EXPECT_EQ(before, taken());
}

} // namespace
