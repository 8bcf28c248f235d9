// SPDX-License-Identifier: Apache-2.0
//
// Many threads and processes at one time, and writers that are killed.
#include "tests/store/store_fixture.h"

#include <atomic>
#include <csignal>
#include <random>
#include <sys/mman.h>
#include <thread>

namespace
{

using Concurrency = StoreTest;
using Clock = std::chrono::steady_clock;

const Name COUNT = {"o", nullptr, "count"};

// A number that parent and children see.
struct Shared {
    std::atomic<int> *value = static_cast<std::atomic<int> *>(
        mmap(nullptr, sizeof *value, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    Shared() { *value = 0; }
    Shared(const Shared &) = delete;
    Shared &operator=(const Shared &) = delete;
    ~Shared() { munmap(value, sizeof *value); }
};

TEST_F(Concurrency, AReadDoesNotWaitForAWrite)
{
    ASSERT_EQ(0, set(COUNT, "1"));
    Shared isWriting, isRead;
    const pid_t writer = startChild([&] {
        MDB_txn *txn;
        EXPECT_EQ(0, mdb_txn_begin(openPastLibrary(m_folder), nullptr, 0, &txn));
        *isWriting.value = 1;
        EXPECT_TRUE(eventually([&] { return *isRead.value == 1; })) << "the reads waited";
        mdb_txn_abort(txn);
        return 0;
    });
    EXPECT_TRUE(eventually([&] { return *isWriting.value == 1; }));
    EXPECT_EQ("1", get(COUNT));
    EXPECT_EQ("o.count=1\n", contents());
    // Another process too, which opens the store while it is being written to; and a thread next to one that waits.
    EXPECT_EQ("1\n", runCtl({"get", "o", "count"}).strOut);
    std::thread waiting([] { EXPECT_EQ(0, set(COUNT, "2")); });
    for (int i = 0; i < 1000; i++)
        get(COUNT);
    EXPECT_EQ("1", get(COUNT));
    *isRead.value = 1;
    waiting.join();
    EXPECT_EQ(0, waitFor(writer));
    EXPECT_EQ("2", get(COUNT));
}

TEST_F(Concurrency, AKilledWriterLosesNothingAndStopsNobody)
{
    SKIP_IF_EMULATED("robust locks");
    ASSERT_EQ(0, set(COUNT, "0"));
    ASSERT_EQ(0, set({"o", nullptr, "copy"}, "0")); // the first writer may be killed before its first write
    Shared acknowledged;
    std::atomic<bool> isOver{false};
    std::atomic<long> slowestMs{0};
    std::thread reader([&] {
        while (!isOver) {
            const auto start = Clock::now();
            EXPECT_NE(std::nullopt, get(COUNT)) << lastText();
            const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
            slowestMs = std::max(slowestMs.load(), static_cast<long>(ms));
        }
    });
    std::minstd_rand random(7);
    for (int round = 0; round < 150; round++) {
        const pid_t writer = startChild([&] {
            // Every process leaves its own copies, of a size that makes pages split and join.
            for (int i = *acknowledged.value + 1;; i++) {
                const std::string text = std::to_string(i);
                const std::string filler(static_cast<size_t>(i % 50) * 100, 'f');
                const int code = write({{"o", nullptr, nullptr, nullptr, "count", text.c_str()},
                                        {"o", "copy", nullptr, nullptr, &text.back(), filler.c_str()},
                                        {"o", nullptr, nullptr, nullptr, "copy", text.c_str()}});
                EXPECT_EQ(0, code) << lastText();
                if (code)
                    return code;
                *acknowledged.value = i;
            }
        });
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 15000));
        kill(writer, SIGKILL);
        ASSERT_EQ(-SIGKILL, waitFor(writer)) << "the writer failed";
        const std::string count = get(COUNT).value_or("none");
        ASSERT_GE(std::stoi(count), *acknowledged.value);
        ASSERT_EQ(count, get({"o", nullptr, "copy"})) << "half a transaction";
        *acknowledged.value = std::stoi(count);
    }
    EXPECT_GT(*acknowledged.value, 150) << "the writers never got going";
    EXPECT_EQ(0, set(COUNT, "end"));
    isOver = true;
    reader.join();
    EXPECT_LT(slowestMs, 1000);
}

TEST_F(Concurrency, EveryoneSeesWholeTransactionsAndTheirOwnWrites)
{
    constexpr int ROUNDS = 200;
    const auto work = [](const std::string &me) {
        for (int i = 0; i < ROUNDS; i++) {
            const std::string text = me + std::to_string(i);
            const char *const value = text.c_str();
            EXPECT_EQ(
                0, write({{"p", nullptr, nullptr, nullptr, "a", value}, {"p", nullptr, nullptr, nullptr, "b", value}}));
            EXPECT_EQ(0, set({"own", nullptr, me.c_str()}, text));
            EXPECT_EQ(text, get({"own", nullptr, me.c_str()}));
            const std::string seen = contents("p");
            const size_t half = seen.find('\n');
            EXPECT_EQ(seen.substr(seen.find('=') + 1, half - seen.find('=')), seen.substr(seen.rfind('=') + 1));
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

size_t countDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

// Entries of LMDB's reader table that this process has taken. Asked in a child: a process must not open a store twice.
int countReaders(const std::string &folder)
{
    return inChild([&] {
        MDB_envinfo info;
        mdb_env_info(openPastLibrary(folder), &info);
        return static_cast<int>(info.me_numreaders);
    });
}

long residentKb()
{
    const std::string status = readFile("/proc/self/status");
    return std::stol(status.substr(status.find("VmRSS:") + 6));
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
    ASSERT_EQ(0, set(COUNT, "0"));
    churn(500);
    const size_t descriptors = countDescriptors();
    const int readers = countReaders(m_folder);
    const long kb = residentKb();
    churn(isEmulatedHere() ? 500 : 10000);
    EXPECT_EQ(descriptors, countDescriptors());
    EXPECT_EQ(readers, countReaders(m_folder));
    EXPECT_LE(readers, 2);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__clang__) // sanitizers keep released memory, and find leaks
    constexpr long GROWTH_KB = 512;
#else
    constexpr long GROWTH_KB = 1 << 20;
#endif
    EXPECT_LT(residentKb() - kb, isEmulatedHere() ? 1 << 20 : GROWTH_KB) << "an emulator's memory grows too";
}

} // namespace
