// SPDX-License-Identifier: Apache-2.0
//
// The process's one LMDB environment, and the two ways to hold it.
//
// Readers hold a slot. A slot keeps its read transaction between uses, reset, because beginning one costs more than the
// read itself. Slots belong to no thread: threads may come and go without leaving anything behind (MDB_NOTLS), and
// a process takes as many entries of LMDB's reader table as it had readers at one time.
//
// Writers hold the writer lock, a mutex of this process, and then LMDB's own, which is shared by all processes.
//
// Whoever holds the writer lock and all slots is alone, and may open, close and remap the environment.
#ifndef LSQLQUERY_ENVIRONMENT_H
#define LSQLQUERY_ENVIRONMENT_H

#include "lsqlquery/cache.h"

#include <lmdb.h>
#include <pthread.h>
#include <setjmp.h>
#include <sys/types.h>

#include <atomic>

namespace store
{

// Where a failed assertion inside LMDB, which would end the process, goes on instead: see guarded().
struct Guard {
    std::atomic<pthread_t> owner; // valid while active
    std::atomic<bool> active;
    jmp_buf jump;
};

struct alignas(64) Slot {
    std::atomic<bool> taken;
    MDB_txn *txn; // null before the first use
    Guard guard;
    Cache cache; // of this slot's transactions; emptied when the environment is closed or its map moves
};

struct Environment {
    MDB_env *env; // null: not open
    MDB_dbi mainTable;
    std::atomic<MDB_dbi> changes; // 0 while the store has no such table yet
    bool readOnly;
    size_t mapSize; // bytes
    dev_t device;   // of the data file
    ino_t inode;
    Guard writeGuard;
};

extern Environment g_environment;

// The folder as it was named when the store was last opened, or tried to be.
const char *folder();

// Begin to read: a slot whose transaction shows the store as it is now. Opens the store when needed, but never makes
// one. On failure SLOT is null and the cause is returned.
int beginRead(Slot *&slot);
void endRead(Slot *slot);

// Take the writer lock with the store open for writing, and made if there is none. On failure the lock is not held.
int beginWriting();
void endWriting();

// Begin a write transaction, under the writer lock; adopts the size to which others have let the store grow.
int beginWriteTxn(MDB_txn *&txn);

// Under the writer lock: adopt what others have changed about the store's size, and drop readers that are dead.
// Zero if another attempt is worth while. If there is no memory for the size, the store is closed afterwards.
int makeRoom();

// Let the data file's watchers look. After the commit: LMDB shows a transaction to readers only when its last write to
// the file is over, so that the file's own events come too early.
void announce();

// What LMDB calls an input/output error is a full file system when it could write only a part.
bool isFileSystemFull();

// Open the store anew if the data file was replaced. True if it was.
bool adoptReplacedStore();

// Open the table of changes if the store has it by now.
int openChanges();

// Run STEP, which calls LMDB on pages of the file and returns its code. An assertion that fails there, because the file
// is damaged, ends the step with MDB_CORRUPTED. STEP must own nothing that needs to be released.
template <class Step>
__attribute__((noinline)) int guarded(Guard &guard, const Step &step)
{
    guard.owner.store(pthread_self(), std::memory_order_relaxed);
    guard.active.store(true, std::memory_order_relaxed);
    int rc = MDB_CORRUPTED;
    if (_setjmp(guard.jump) == 0)
        rc = step();
    else
        rc = MDB_CORRUPTED;
    guard.active.store(false, std::memory_order_relaxed);
    return rc;
}

} // namespace store

#endif
