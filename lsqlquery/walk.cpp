// SPDX-License-Identifier: Apache-2.0
#include "lsqlquery/environment.h"
#include "lsqlquery/failure.h"
#include "lsqlquery/key.h"

namespace store
{

namespace
{

struct Walk {
    Slot *slot;
    MDB_cursor *cursor;
    Key prefix;
    lsqlstore_visit *visit;
    void *context;
    int ended; // what the visitor returned
};

// The next field: zero, MDB_NOTFOUND behind the last one, or a cause.
int step(Walk &walk, MDB_cursor_op operation, lsqlstore_field &field)
{
    MDB_val key = view(walk.prefix);
    MDB_val value;
    do {
        const int rc = guarded(walk.slot->guard, [&] { return mdb_cursor_get(walk.cursor, &key, &value, operation); });
        if (rc)
            return rc;
        if (!hasPrefix(key, walk.prefix))
            return MDB_NOTFOUND;
        operation = MDB_NEXT;
    } while (!parseKey(key, field)); // the one key that belongs to LMDB
    field.value = valueText(value);
    return field.value ? 0 : MDB_CORRUPTED;
}

int walkAll(Walk &walk)
{
    lsqlstore_field field;
    int rc = step(walk, walk.prefix.size ? MDB_SET_RANGE : MDB_FIRST, field);
    for (; rc == 0; rc = step(walk, MDB_NEXT, field)) {
        walk.ended = walk.visit(&field, walk.context);
        if (walk.ended)
            return 0;
    }
    return rc == MDB_NOTFOUND ? 0 : rc;
}

int walkStore(Walk &walk)
{
    int rc = beginRead(walk.slot);
    if (rc)
        return rc;
    rc = mdb_cursor_open(walk.slot->txn, g_environment.mainTable, &walk.cursor);
    if (rc == 0) {
        rc = walkAll(walk);
        mdb_cursor_close(walk.cursor);
    }
    endRead(walk.slot);
    return rc;
}

} // namespace

} // namespace store

int lsqlstore_walk(const char *object, lsqlstore_visit *visit, void *context, char **error)
{
    const lsqlstore_field name = {object, nullptr, nullptr, nullptr, nullptr, nullptr};
    store::Walk walk = {nullptr, nullptr, {}, visit, context, 0};
    if (!visit)
        return store::tell(error, store::refused("read", &name, "there is no function to visit the fields"));
    if (object && !store::buildKey(walk.prefix, name, store::Extent::object))
        return store::tell(error, store::refused("read", nullptr, "the object's name is longer than 506 bytes"));
    const int cause = store::walkStore(walk);
    if (cause)
        return store::tell(error, store::failed("read", object ? &name : nullptr, cause));
    store::tell(error, LSQLSTORE_OK);
    return walk.ended;
}
