// SPDX-License-Identifier: Apache-2.0
#include "lsqlquery/failure.h"
#include "lsqlquery/environment.h"

#include <errno.h>
#include <lmdb.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>

namespace store
{

namespace
{

struct Cause {
    int cause;
    int outcome;
    const char *text; // null: LMDB's or the system's own
    const char *advice;
};

constexpr const char *ADVICE_DAMAGED =
    "move its files away, load the latest dump into a new store (lsqlctl load FILE), and start the programs that use "
    "it again";
constexpr const char *ADVICE_SPACE = "make room there and try again; nothing was changed";
constexpr const char *ADVICE_DENIED = "run as the store's owner, or let this user write to the folder and its files";
constexpr const char *ADVICE_FOLDER = "make it (mkdir -p) or set LSQLQUERY_DB to the folder of the store";

constexpr Cause CAUSES[] = {
    {CAUSE_NOT_FOUND, LSQLSTORE_NOT_FOUND, "there is no such field", "lsqlctl list shows what there is"},
    {CAUSE_NO_FOLDER, LSQLSTORE_NO_FOLDER, "the store's folder does not exist", ADVICE_FOLDER},
    {ENOTDIR, LSQLSTORE_NO_FOLDER, "the store's folder is not a folder", ADVICE_FOLDER},
    {CAUSE_NO_STORE, LSQLSTORE_NO_STORE, "there is no store in this folder yet",
     "write the first setting (lsqlctl set or load), or set LSQLQUERY_DB to the folder of the store"},
    {CAUSE_CUT_SHORT, LSQLSTORE_DAMAGED, "the data file is cut short or its header is damaged", ADVICE_DAMAGED},
    {MDB_INVALID, LSQLSTORE_DAMAGED, "the data file is not a store of this kind of machine", ADVICE_DAMAGED},
    {MDB_VERSION_MISMATCH, LSQLSTORE_DAMAGED, "the data file is of another LMDB version", ADVICE_DAMAGED},
    {MDB_CORRUPTED, LSQLSTORE_DAMAGED, "the data file is damaged", ADVICE_DAMAGED},
    {MDB_PAGE_NOTFOUND, LSQLSTORE_DAMAGED, "the data file is damaged", ADVICE_DAMAGED},
    {MDB_CURSOR_FULL, LSQLSTORE_DAMAGED, "the data file is damaged", ADVICE_DAMAGED},
    {MDB_BAD_VALSIZE, LSQLSTORE_DAMAGED, "the data file is damaged", ADVICE_DAMAGED}, // ours were checked before
    {MDB_INCOMPATIBLE, LSQLSTORE_DAMAGED, "the data file is damaged", ADVICE_DAMAGED},
    {EACCES, LSQLSTORE_DENIED, "permission denied", ADVICE_DENIED},
    {EPERM, LSQLSTORE_DENIED, "permission denied", ADVICE_DENIED},
    {EROFS, LSQLSTORE_READ_ONLY, "the file system is mounted read-only", "mount it for writing and try again"},
    {ENOSPC, LSQLSTORE_NO_SPACE, "no space is left on the file system", ADVICE_SPACE},
    {EDQUOT, LSQLSTORE_NO_SPACE, "this user's disk quota is used up", ADVICE_SPACE},
    {EFBIG, LSQLSTORE_NO_SPACE, "the data file may not grow (see ulimit -f)", ADVICE_SPACE},
    {MDB_MAP_FULL, LSQLSTORE_FULL, "the store has reached the size to which it may grow",
     "try again with LSQLQUERY_MAP_SIZE set to more (the store keeps it), or remove what is not needed; "
     "nothing was changed"},
    {MDB_TXN_FULL, LSQLSTORE_FULL, "this is too much for one transaction", "load it in several parts"},
    {MDB_READERS_FULL, LSQLSTORE_READERS, "too many programs are reading at this moment",
     "end some of the programs that use the store"},
    {CAUSE_BUSY, LSQLSTORE_READERS, "other threads of this program are still reading", "try again"},
    {CAUSE_MAP_SIZE, LSQLSTORE_INVALID, "LSQLQUERY_MAP_SIZE is not a size", "give bytes, such as 16777216 or 16M"},
    {ENOMEM, LSQLSTORE_NO_MEMORY, "out of memory", "end other programs or lower LSQLQUERY_MAP_SIZE"},
};

constexpr Cause OTHER_CAUSE = {0, LSQLSTORE_FAILED, nullptr, "see the system's log"};

struct Latest {
    int outcome;
    char text[1024];
};

thread_local Latest t_latest;

std::atomic<int> g_lastReported{LSQLSTORE_OK};

void reportToStderr(const char *line)
{
    fprintf(stderr, "lsqlquery: %s\n", line);
}

std::atomic<void (*)(const char *)> g_report{reportToStderr};

const Cause &findCause(int cause)
{
    for (const Cause &row : CAUSES)
        if (row.cause == cause)
            return row;
    return OTHER_CAUSE;
}

// "cannot VERB OBJECT/INSTANCE FIELD QFIELD=QVALUE: ", each name cut at 100 bytes; the length is returned.
size_t begin(char (&text)[1024], const char *verb, const lsqlstore_field *name)
{
    const auto orEmpty = [](const char *part) { return part ? part : ""; };
    int length = snprintf(text, sizeof text, "cannot %s", verb);
    if (name && name->object)
        length += snprintf(text + length, sizeof text - static_cast<size_t>(length),
                           " %.100s%s%.100s%s%.100s%s%.100s%s%.100s", name->object, name->instance ? "/" : "",
                           orEmpty(name->instance), name->field ? " " : "", orEmpty(name->field),
                           name->qualifier_field ? " " : "", orEmpty(name->qualifier_field),
                           name->qualifier_field ? "=" : "", orEmpty(name->qualifier_value));
    length += snprintf(text + length, sizeof text - static_cast<size_t>(length), ": ");
    return static_cast<size_t>(length);
}

} // namespace

int failed(const char *verb, const lsqlstore_field *name, int cause)
{
    const Cause &row = findCause(cause);
    char *const text = t_latest.text;
    const size_t length = begin(t_latest.text, verb, name);
    snprintf(text + length, sizeof t_latest.text - length, "%s (store %.200s): %s",
             row.text ? row.text : mdb_strerror(cause), folder(), row.advice);
    return t_latest.outcome = row.outcome;
}

int refused(const char *verb, const lsqlstore_field *name, const char *problem)
{
    const size_t length = begin(t_latest.text, verb, name);
    snprintf(t_latest.text + length, sizeof t_latest.text - length, "%s", problem);
    return t_latest.outcome = LSQLSTORE_INVALID;
}

void foundNothing()
{
    t_latest.outcome = LSQLSTORE_NOT_FOUND;
    strcpy(t_latest.text, "there is no such field");
}

void reportOnce()
{
    if (g_lastReported.exchange(t_latest.outcome) == t_latest.outcome)
        return;
    if (void (*const report)(const char *) = g_report.load())
        report(t_latest.text);
}

void forgetReports()
{
    g_lastReported.store(LSQLSTORE_OK);
}

int tell(char **error, int outcome)
{
    if (error)
        *error = outcome == LSQLSTORE_OK ? nullptr : strdup(t_latest.text);
    return outcome;
}

} // namespace store

int lsqlstore_last_error(const char **text)
{
    if (text)
        *text = store::t_latest.text;
    return store::t_latest.outcome;
}

void lsqlstore_set_report(void (*report)(const char *line))
{
    store::g_report.store(report);
}
