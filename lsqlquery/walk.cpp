// SPDX-License-Identifier: Apache-2.0
#include "lsqlquery/environment.h"
#include "lsqlquery/failure.h"
#include "lsqlquery/key.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

namespace store
{

namespace
{

// All fields as they were at one instant: keys and values as they are stored, one behind the other. Copied before the
// first is visited: a visitor may take its time, and LMDB cannot use a page again as long as someone reads.
struct Snapshot {
    char *bytes;
    size_t size;
    size_t room;
};

int add(Snapshot &all, const MDB_val &bytes)
{
    if (bytes.mv_size > all.room - all.size) {
        const size_t room = 2 * all.room + bytes.mv_size + 4096;
        char *const grown = static_cast<char *>(realloc(all.bytes, room));
        if (!grown)
            return ENOMEM;
        all.bytes = grown;
        all.room = room;
    }
    memcpy(all.bytes + all.size, bytes.mv_data, bytes.mv_size);
    all.size += bytes.mv_size;
    return 0;
}

int copyFields(MDB_cursor *cursor, const Key &prefix, Snapshot &all)
{
    Key first = prefix;
    MDB_val key = view(first);
    MDB_val value;
    int rc = mdb_cursor_get(cursor, &key, &value, prefix.size ? MDB_SET_RANGE : MDB_FIRST);
    for (; rc == 0 && hasPrefix(key, prefix); rc = mdb_cursor_get(cursor, &key, &value, MDB_NEXT)) {
        lsqlstore_field name;
        if (!parseKey(key, name))
            continue; // the one key that belongs to LMDB
        const char *const text = valueText(value);
        if (!text || strlen(text) + 1 != value.mv_size)
            return MDB_CORRUPTED;
        if ((rc = add(all, key)) != 0 || (rc = add(all, value)) != 0)
            return rc;
    }
    return rc == MDB_NOTFOUND ? 0 : rc;
}

int takeSnapshot(const Key &prefix, Snapshot &all)
{
    Slot *slot;
    int rc = beginRead(slot);
    if (rc)
        return rc;
    MDB_cursor *cursor;
    rc = mdb_cursor_open(slot->txn, g_environment.mainTable, &cursor);
    if (rc == 0) {
        rc = guarded(slot->guard, [&] { return copyFields(cursor, prefix, all); });
        mdb_cursor_close(cursor);
    }
    endRead(slot);
    return rc;
}

int visitAll(const Snapshot &all, lsqlstore_visit *visit, void *context)
{
    int ended = 0;
    for (size_t at = 0; at < all.size && ended == 0;) {
        lsqlstore_field field;
        const size_t keySize = parseTexts(all.bytes + at, all.size - at, field);
        field.value = all.bytes + at + keySize;
        at += keySize + strlen(field.value) + 1;
        ended = visit(&field, context);
    }
    return ended;
}

} // namespace

} // namespace store

int lsqlstore_walk(const char *object, lsqlstore_visit *visit, void *context, char **error)
{
    const lsqlstore_field name = {object, nullptr, nullptr, nullptr, nullptr, nullptr};
    if (!visit)
        return store::tell(error, store::refused("read", &name, "there is no function to visit the fields"));
    store::Key prefix = {};
    if (object && !store::buildKey(prefix, name, store::Extent::object))
        return store::tell(error, store::refused("read", nullptr, "the object's name is longer than 506 bytes"));
    store::Snapshot all = {};
    const int cause = store::takeSnapshot(prefix, all);
    int ended = 0;
    if (cause) {
        ended = store::tell(error, store::failed("read", object ? &name : nullptr, cause));
    } else {
        store::tell(error, LSQLSTORE_OK);
        ended = store::visitAll(all, visit, context);
    }
    free(all.bytes);
    return ended;
}
