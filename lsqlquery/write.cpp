// SPDX-License-Identifier: Apache-2.0
#include "lsqlquery/changes.h"
#include "lsqlquery/environment.h"
#include "lsqlquery/failure.h"
#include "lsqlquery/rows.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

namespace store
{

namespace
{

// A reader that loses its processor in the middle of a read keeps LMDB from using freed pages again for as long, and
// fast writers can then reach the end of the map though the store is small. So a full map is looked at again for 0.1 s.
constexpr int ROOM_ATTEMPTS = 20;
constexpr timespec ROOM_PAUSE = {0, 5 * 1000000};

// What lsqlstore_write was asked for.
struct Batch {
    const lsqlstore_field *fields;
    size_t count;
    unsigned flags;
    const lsqlstore_field **sorted; // null for a single field
    size_t at;                      // the field that is being looked at; COUNT if none is
};

const char *verbOf(const lsqlstore_field &field)
{
    return field.value ? "write" : "remove";
}

const char *fieldProblem(const lsqlstore_field &field)
{
    if (const char *problem = nameProblem(field))
        return problem;
    if (!field.value)
        return nullptr;
    if (strlen(field.value) >= VALUE_MAX)
        return "the value is longer than 1048575 bytes: store a shorter one";
    if (field.qualifier_field && strcmp(field.field, field.qualifier_field) == 0 &&
        strcmp(field.value, field.qualifier_value) != 0)
        return "the field tells this row from others and cannot change in it: write the other row";
    return nullptr;
}

int byName(const void *a, const void *b)
{
    return compareNames(**static_cast<const lsqlstore_field *const *>(a),
                        **static_cast<const lsqlstore_field *const *>(b));
}

// Null, or the later of two fields of one name.
const lsqlstore_field *findDuplicate(const Batch &batch)
{
    for (size_t i = 1; i < batch.count; i++) {
        const lsqlstore_field *const a = batch.sorted[i - 1];
        const lsqlstore_field *const b = batch.sorted[i];
        if (compareNames(*a, *b) == 0)
            return a > b ? a : b;
    }
    return nullptr;
}

int sortBatch(Batch &batch)
{
    batch.sorted = static_cast<const lsqlstore_field **>(calloc(batch.count, sizeof *batch.sorted));
    if (!batch.sorted)
        return failed("write", nullptr, ENOMEM);
    for (size_t i = 0; i < batch.count; i++)
        batch.sorted[i] = batch.fields + i;
    qsort(batch.sorted, batch.count, sizeof *batch.sorted, byName);
    const lsqlstore_field *const duplicate = findDuplicate(batch);
    if (!duplicate)
        return LSQLSTORE_OK;
    batch.at = static_cast<size_t>(duplicate - batch.fields);
    return refused(verbOf(*duplicate), duplicate, "the same field is given twice: give it once");
}

int checkBatch(Batch &batch)
{
    for (batch.at = 0; batch.at < batch.count; batch.at++) {
        const lsqlstore_field &field = batch.fields[batch.at];
        if (const char *problem = fieldProblem(field))
            return refused(verbOf(field), &field, problem);
    }
    return batch.count > 1 ? sortBatch(batch) : LSQLSTORE_OK;
}

bool isInBatch(const Batch &batch, const lsqlstore_field &name)
{
    if (batch.count == 1)
        return compareNames(batch.fields[0], name) == 0;
    const lsqlstore_field *const wanted = &name;
    return batch.count > 0 && bsearch(&wanted, batch.sorted, batch.count, sizeof *batch.sorted, byName);
}

// The key to write. A row that no other row stands in for comes into being under its qualifier.
int targetKey(MDB_txn *txn, const lsqlstore_field &field, unsigned flags, Key &key)
{
    if (!field.qualifier_field || (flags & (LSQLSTORE_EXACT | LSQLSTORE_REPLACE)) != 0)
        return buildKey(key, field) ? 0 : MDB_BAD_VALSIZE;
    MDB_cursor *cursor;
    int rc = mdb_cursor_open(txn, g_environment.mainTable, &cursor);
    if (rc)
        return rc;
    bool isOwn;
    rc = resolveRow(cursor, field, key, isOwn);
    mdb_cursor_close(cursor);
    return rc == MDB_NOTFOUND ? 0 : rc;
}

int applyField(ChangeLog &log, const lsqlstore_field &field, unsigned flags)
{
    Key key;
    int rc = targetKey(log.txn, field, flags, key);
    if (rc)
        return rc;
    MDB_val bytes = view(key);
    if (!field.value) {
        rc = mdb_del(log.txn, g_environment.mainTable, &bytes, nullptr);
        return rc == MDB_NOTFOUND ? CAUSE_NOT_FOUND : rc ? rc : append(log, bytes, nullptr);
    }
    MDB_val value = {strlen(field.value) + 1, const_cast<char *>(field.value)};
    rc = mdb_put(log.txn, g_environment.mainTable, &bytes, &value, 0);
    return rc ? rc : append(log, bytes, &value);
}

int removeOthers(ChangeLog &log, const Batch &batch)
{
    MDB_cursor *cursor;
    int rc = mdb_cursor_open(log.txn, g_environment.mainTable, &cursor);
    if (rc)
        return rc;
    MDB_val bytes;
    while ((rc = mdb_cursor_get(cursor, &bytes, nullptr, MDB_NEXT)) == 0) {
        lsqlstore_field name;
        if (!parseKey(bytes, name) || isInBatch(batch, name))
            continue;
        Key key;
        buildKey(key, name); // a copy: the page may go with its last key
        if ((rc = mdb_cursor_del(cursor, 0)) != 0 || (rc = append(log, view(key), nullptr)) != 0)
            break;
    }
    mdb_cursor_close(cursor);
    return rc == MDB_NOTFOUND ? 0 : rc;
}

int applyBatch(ChangeLog &log, MDB_txn *txn, Batch &batch)
{
    batch.at = batch.count;
    int rc = openLog(log, txn);
    if (rc == 0 && (batch.flags & LSQLSTORE_REPLACE) != 0)
        rc = removeOthers(log, batch);
    if (rc)
        return rc;
    for (batch.at = 0; batch.at < batch.count; batch.at++)
        if ((rc = applyField(log, batch.fields[batch.at], batch.flags)) != 0)
            return rc;
    return 0;
}

// One attempt, under the writer lock. Zero or a cause.
int transact(Batch &batch)
{
    MDB_txn *txn;
    int rc = beginWriteTxn(txn);
    if (rc)
        return rc;
    ChangeLog log;
    bool isOver = false;
    rc = guarded(g_environment.writeGuard, [&] {
        const int applied = applyBatch(log, txn, batch);
        if (applied)
            return applied;
        const int committed = mdb_txn_commit(txn);
        isOver = true; // also on failure
        return committed;
    });
    if (!isOver)
        guarded(g_environment.writeGuard, [&] {
            mdb_txn_abort(txn);
            return 0;
        });
    if (rc)
        return rc;
    g_environment.changes.store(log.table);
    announce();
    return 0;
}

int writeBatch(Batch &batch)
{
    int rc = beginWriting();
    if (rc)
        return rc;
    rc = transact(batch);
    for (int i = 0; rc == MDB_MAP_FULL && i < ROOM_ATTEMPTS; i++) {
        const int room = makeRoom();
        if (room != 0)
            nanosleep(&ROOM_PAUSE, nullptr);
        rc = g_environment.env ? transact(batch) : room;
    }
    if (rc == EIO && isFileSystemFull())
        rc = ENOSPC;
    endWriting();
    return rc;
}

} // namespace

} // namespace store

int lsqlstore_write(const lsqlstore_field *fields, size_t count, unsigned flags, size_t *failed, char **error)
{
    store::Batch batch = {fields, count, flags, nullptr, count};
    int outcome = store::checkBatch(batch);
    if (outcome == LSQLSTORE_OK)
        if (const int cause = store::writeBatch(batch)) {
            const lsqlstore_field *const field = batch.at < count ? fields + batch.at : count == 1 ? fields : nullptr;
            outcome = store::failed(field ? store::verbOf(*field) : "write", field, cause);
        }
    free(batch.sorted);
    if (outcome && failed)
        *failed = batch.at;
    return store::tell(error, outcome);
}
