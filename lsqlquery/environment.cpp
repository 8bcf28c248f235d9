// SPDX-License-Identifier: Apache-2.0
#include "lsqlquery/environment.h"
#include "lsqlquery/failure.h"
#include "lsqlquery/open.h"

#include <errno.h>
#include <sched.h>
#include <sys/stat.h>
#include <time.h>

namespace store
{

Environment g_environment;

namespace
{

constexpr size_t SLOT_COUNT = 16;
constexpr long SLOT_WAIT_MS = 2000;  // longer than ALONE_WAIT_MS: who waits to be alone gives up first
constexpr long ALONE_WAIT_MS = 1000; // a read takes microseconds

Slot g_slots[SLOT_COUNT];
pthread_mutex_t g_writerLock = PTHREAD_MUTEX_INITIALIZER;

long nowMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Wait a little; false once MS milliseconds have passed since the first call with this SINCE (-1 at first).
bool waitUpTo(long ms, long &since)
{
    const long now = nowMs();
    if (since < 0)
        since = now;
    if (now - since > ms)
        return false;
    const timespec pause = {0, 50000};
    nanosleep(&pause, nullptr);
    return true;
}

Slot *takeSlot()
{
    long since = -1;
    do {
        // The first free one, so that as few as possible are ever used.
        for (Slot &slot : g_slots)
            if (!slot.taken.exchange(true, std::memory_order_acquire))
                return &slot;
    } while (waitUpTo(SLOT_WAIT_MS, since));
    return nullptr;
}

void releaseSlot(Slot &slot)
{
    slot.taken.store(false, std::memory_order_release);
}

void releaseSlots(size_t count)
{
    for (size_t i = 0; i < count; i++)
        releaseSlot(g_slots[i]);
}

// Under the writer lock.
bool takeAllSlots()
{
    long since = -1;
    for (size_t i = 0; i < SLOT_COUNT;) {
        if (!g_slots[i].taken.exchange(true, std::memory_order_acquire)) {
            i++;
        } else if (!waitUpTo(ALONE_WAIT_MS, since)) {
            releaseSlots(i);
            return false;
        }
    }
    return true;
}

// Under the writer lock: run STEP alone.
template <class Step>
int alone(const Step &step)
{
    if (!takeAllSlots())
        return CAUSE_BUSY;
    const int rc = step();
    releaseSlots(SLOT_COUNT);
    return rc;
}

void closeAlone()
{
    for (Slot &slot : g_slots) {
        if (slot.txn)
            mdb_txn_abort(slot.txn);
        slot.txn = nullptr;
        emptyCache(slot.cache);
    }
    closeStore(g_environment);
}

// The child of a fork has only this thread and must not touch what it shares with its parent: it forgets all, and
// opens the store for itself when it needs it. Closing would be wrong: LMDB's handles are shared with the parent.
void forgetInChild()
{
    g_environment.env = nullptr;
    g_environment.changes.store(0);
    for (Slot &slot : g_slots) {
        slot.txn = nullptr;
        emptyCache(slot.cache);
        slot.taken.store(false);
        slot.guard.active.store(false);
    }
    g_environment.writeGuard.active.store(false);
    g_writerLock = PTHREAD_MUTEX_INITIALIZER;
}

bool leaveGuard(Guard &guard)
{
    return guard.active.load(std::memory_order_relaxed) &&
           pthread_equal(guard.owner.load(std::memory_order_relaxed), pthread_self());
}

// LMDB ends the process when this returns.
void onAssertion(MDB_env *, const char *)
{
    for (Slot &slot : g_slots)
        if (leaveGuard(slot.guard))
            _longjmp(slot.guard.jump, 1);
    if (leaveGuard(g_environment.writeGuard))
        _longjmp(g_environment.writeGuard.jump, 1);
}

// Under the writer lock.
int openUnlessOpen(bool create)
{
    if (g_environment.env)
        return 0;
    static bool s_forkHandled;
    if (!s_forkHandled)
        s_forkHandled = pthread_atfork(nullptr, nullptr, forgetInChild) == 0;
    return alone([create] {
        const int rc = openStore(g_environment, create, onAssertion);
        if (rc == 0)
            forgetReports();
        return rc;
    });
}

bool wasReplaced()
{
    struct stat file;
    return statDataFile(file) != 0 || file.st_dev != g_environment.device || file.st_ino != g_environment.inode;
}

int closeUnderLock()
{
    return alone([] {
        closeAlone();
        return 0;
    });
}

int adoptMapSize()
{
    return alone([] {
        for (Slot &slot : g_slots)
            emptyCache(slot.cache);
        const int rc = resizeStore(g_environment);
        if (rc)
            closeAlone();
        return rc;
    });
}

int beginSlotTxn(Slot &slot)
{
    if (slot.txn) [[likely]]
        return mdb_txn_renew(slot.txn);
    if (!g_environment.env)
        return CAUSE_NO_STORE;
    int rc = mdb_txn_begin(g_environment.env, nullptr, MDB_RDONLY, &slot.txn);
    int dead = 0;
    if (rc == MDB_READERS_FULL && mdb_reader_check(g_environment.env, &dead) == 0 && dead > 0)
        rc = mdb_txn_begin(g_environment.env, nullptr, MDB_RDONLY, &slot.txn);
    if (rc)
        slot.txn = nullptr;
    return rc;
}

// What stood in the way of a read, put right if it can be.
int putRight(int cause)
{
    if (cause != CAUSE_NO_STORE && cause != MDB_MAP_RESIZED && cause != MDB_PANIC)
        return cause;
    pthread_mutex_lock(&g_writerLock);
    int rc = 0;
    if (cause == MDB_PANIC)
        rc = closeUnderLock();
    if (rc == 0)
        rc = cause == MDB_MAP_RESIZED && g_environment.env ? adoptMapSize() : openUnlessOpen(false);
    pthread_mutex_unlock(&g_writerLock);
    return rc;
}

} // namespace

int beginRead(Slot *&slot)
{
    for (int attempt = 0;; attempt++) {
        slot = takeSlot();
        if (!slot)
            return CAUSE_BUSY;
        int rc = beginSlotTxn(*slot);
        if (rc == 0) [[likely]]
            return 0;
        releaseSlot(*slot);
        slot = nullptr;
        if (attempt < 3)
            rc = putRight(rc);
        if (rc)
            return rc;
    }
}

void endRead(Slot *slot)
{
    mdb_txn_reset(slot->txn);
    releaseSlot(*slot);
}

int beginWriting()
{
    pthread_mutex_lock(&g_writerLock);
    int rc = 0;
    // A store that was moved away would swallow what is written to it; a file system may have become writable.
    if (g_environment.env && (g_environment.readOnly || wasReplaced()))
        rc = closeUnderLock();
    if (rc == 0)
        rc = openUnlessOpen(true);
    if (rc == 0 && g_environment.readOnly)
        rc = EROFS;
    if (rc)
        pthread_mutex_unlock(&g_writerLock);
    return rc;
}

void endWriting()
{
    pthread_mutex_unlock(&g_writerLock);
}

int beginWriteTxn(MDB_txn *&txn)
{
    int rc = mdb_txn_begin(g_environment.env, nullptr, 0, &txn);
    if (rc == MDB_MAP_RESIZED && (rc = adoptMapSize()) == 0)
        rc = mdb_txn_begin(g_environment.env, nullptr, 0, &txn);
    if (rc == MDB_PANIC && (rc = closeUnderLock()) == 0 && (rc = openUnlessOpen(true)) == 0)
        rc = mdb_txn_begin(g_environment.env, nullptr, 0, &txn);
    if (rc)
        return rc;
    rc = coverMap(g_environment);
    if (rc)
        mdb_txn_abort(txn);
    return rc;
}

int makeRoom()
{
    int dead = 0;
    mdb_reader_check(g_environment.env, &dead);
    const size_t before = g_environment.mapSize;
    const int rc = adoptMapSize();
    if (rc)
        return rc;
    return dead > 0 || g_environment.mapSize > before ? 0 : MDB_MAP_FULL;
}

bool adoptReplacedStore()
{
    pthread_mutex_lock(&g_writerLock);
    const bool replaced = g_environment.env && wasReplaced() && closeUnderLock() == 0;
    pthread_mutex_unlock(&g_writerLock);
    return replaced;
}

int openChanges()
{
    pthread_mutex_lock(&g_writerLock);
    const int rc = g_environment.env ? alone([] { return openChangesTable(g_environment); }) : CAUSE_NO_STORE;
    pthread_mutex_unlock(&g_writerLock);
    return rc;
}

} // namespace store

int lsqlstore_close(void)
{
    pthread_mutex_lock(&store::g_writerLock);
    const int rc = store::closeUnderLock();
    pthread_mutex_unlock(&store::g_writerLock);
    return rc ? store::failed("close the store", nullptr, rc) : LSQLSTORE_OK;
}
