// SPDX-License-Identifier: Apache-2.0
//
// Watching: the kernel says that the data file was touched (announce()), the table of changes says what happened.
//
// The folder is watched, not the file, so that a store which is yet to be made, or which takes the place of another,
// is seen too. A writer that is killed between its commit and its announcement has still written to the file; a timer
// looks once more when writes to the file were not followed by anything.
#include "lsqlquery/changes.h"
#include "lsqlquery/environment.h"
#include "lsqlquery/failure.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <initializer_list>

struct lsqlstore_watch {
    int events; // inotify
    int timer;
    int both;      // epoll: readable when one of the two is
    uint64_t seen; // number of the latest change that was taken
    char *entry;   // the bytes that the latest change's texts point into
    bool isLost;   // the store was replaced
    bool isGone;   // the folder was removed
};

namespace store
{

namespace
{

constexpr const char *WATCH = "watch the store";
constexpr long LOOK_AGAIN_NS = 20 * 1000000;

// Run STEP with a transaction and the table of changes. No store and no table yet are no failure: STEP does not run.
template <class Step>
int withChanges(const Step &step)
{
    for (int attempt = 0;; attempt++) {
        // A transaction knows only the tables that were open when it began.
        MDB_dbi table = g_environment.changes.load();
        Slot *slot;
        int rc = beginRead(slot);
        if (rc)
            return rc == CAUSE_NO_STORE ? 0 : rc;
        if (table != g_environment.changes.load())
            table = 0;
        if (table)
            rc = guarded(slot->guard, [&] { return step(slot->txn, table); });
        endRead(slot);
        if (table || attempt)
            return rc;
        rc = openChanges();
        if (rc)
            return rc;
    }
}

int skipToEnd(lsqlstore_watch &watch)
{
    watch.seen = 0;
    return withChanges([&](MDB_txn *txn, MDB_dbi table) { return lastChange(txn, table, watch.seen); });
}

// Take the next change out of the table: an outcome of lsqlstore_watch_next(), or a cause in RC.
int takeChange(lsqlstore_watch &watch, MDB_val &entry, int &rc)
{
    int outcome = LSQLSTORE_WATCH_NONE;
    rc = withChanges([&](MDB_txn *txn, MDB_dbi table) {
        uint64_t last;
        uint64_t number = watch.seen + 1;
        const int found = findChange(txn, table, number, entry);
        if (found == MDB_NOTFOUND) {
            const int ended = lastChange(txn, table, last);
            if (ended == 0 && last < watch.seen)
                outcome = LSQLSTORE_WATCH_LOST; // not the table that was there before
            return ended;
        }
        if (found)
            return found;
        outcome = number == watch.seen + 1 ? LSQLSTORE_WATCH_CHANGE : LSQLSTORE_WATCH_LOST;
        if (outcome == LSQLSTORE_WATCH_LOST)
            return 0;
        char *const copy = static_cast<char *>(realloc(watch.entry, entry.mv_size));
        if (!copy)
            return ENOMEM;
        watch.entry = copy;
        memcpy(copy, entry.mv_data, entry.mv_size);
        entry.mv_data = copy;
        watch.seen = number;
        return 0;
    });
    return outcome;
}

void drainEvent(lsqlstore_watch &watch, const inotify_event &event, bool &isWritten)
{
    if (event.mask & (IN_DELETE_SELF | IN_IGNORED | IN_UNMOUNT))
        watch.isGone = true;
    if (event.mask & IN_MODIFY)
        isWritten = true;
    if ((event.mask & (IN_CREATE | IN_MOVED_TO)) && event.len && strcmp(event.name, "data.mdb") == 0)
        watch.isLost |= adoptReplacedStore();
}

void drainEvents(lsqlstore_watch &watch)
{
    alignas(inotify_event) char buffer[4096];
    bool isWritten = false;
    ssize_t size;
    while ((size = read(watch.events, buffer, sizeof buffer)) > 0)
        for (const char *at = buffer; at < buffer + size;) {
            const auto &event = *reinterpret_cast<const inotify_event *>(at);
            drainEvent(watch, event, isWritten);
            at += sizeof event + event.len;
        }
    uint64_t expirations;
    if (read(watch.timer, &expirations, sizeof expirations) < 0 && !isWritten)
        return;
    const itimerspec soon = {{0, 0}, {0, isWritten ? LOOK_AGAIN_NS : 0}};
    timerfd_settime(watch.timer, 0, &soon, nullptr);
}

bool addTo(int both, int fd)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    return fd >= 0 && epoll_ctl(both, EPOLL_CTL_ADD, fd, &event) == 0;
}

int openDescriptors(lsqlstore_watch &watch)
{
    watch.events = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    watch.timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    watch.both = epoll_create1(EPOLL_CLOEXEC);
    if (!addTo(watch.both, watch.events) || !addTo(watch.both, watch.timer))
        return errno;
    // From before the first look into the table, so that nothing falls in between.
    constexpr uint32_t mask = IN_ATTRIB | IN_MODIFY | IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_ONLYDIR;
    return inotify_add_watch(watch.events, folder(), mask) < 0 ? errno : 0;
}

int startWatch(lsqlstore_watch &watch)
{
    // Names the folder, and opens the store if there is one.
    int rc = skipToEnd(watch);
    if (rc == 0 && (rc = openDescriptors(watch)) == 0)
        rc = skipToEnd(watch);
    return rc;
}

int broken(int cause)
{
    failed(WATCH, nullptr, cause);
    return LSQLSTORE_WATCH_ERROR;
}

} // namespace

} // namespace store

lsqlstore_watch *lsqlstore_watch_open(char **error)
{
    auto *const watch = static_cast<lsqlstore_watch *>(malloc(sizeof(lsqlstore_watch)));
    if (!watch) {
        store::tell(error, store::failed(store::WATCH, nullptr, ENOMEM));
        return nullptr;
    }
    *watch = {-1, -1, -1, 0, nullptr, false, false};
    if (const int cause = store::startWatch(*watch)) {
        store::tell(error, store::failed(store::WATCH, nullptr, cause));
        lsqlstore_watch_close(watch);
        return nullptr;
    }
    store::tell(error, LSQLSTORE_OK);
    return watch;
}

int lsqlstore_watch_fd(const lsqlstore_watch *watch)
{
    return watch->both;
}

int lsqlstore_watch_next(lsqlstore_watch *watch, lsqlstore_field *change)
{
    MDB_val entry = {0, nullptr};
    int rc = 0;
    int outcome = store::takeChange(*watch, entry, rc);
    if (rc == 0 && outcome == LSQLSTORE_WATCH_NONE) {
        // Events first, then the table: a change in between is found now, and its event is left for the next call.
        store::drainEvents(*watch);
        if (watch->isGone)
            return store::broken(store::CAUSE_NO_FOLDER);
        outcome = store::takeChange(*watch, entry, rc);
    }
    if (rc)
        return store::broken(rc);
    if (watch->isLost || outcome == LSQLSTORE_WATCH_LOST) {
        watch->isLost = false;
        rc = store::skipToEnd(*watch);
        return rc ? store::broken(rc) : LSQLSTORE_WATCH_LOST;
    }
    if (outcome == LSQLSTORE_WATCH_CHANGE && !store::parseChange(entry, *change))
        return store::broken(MDB_CORRUPTED);
    return outcome;
}

void lsqlstore_watch_close(lsqlstore_watch *watch)
{
    if (!watch)
        return;
    for (const int fd : {watch->both, watch->timer, watch->events})
        if (fd >= 0)
            close(fd);
    free(watch->entry);
    free(watch);
}
