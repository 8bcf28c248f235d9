// SPDX-License-Identifier: Apache-2.0
//
// The device library's five functions.
#include "lsqlquery/lsqlquery.h"
#include "lsqlquery/environment.h"
#include "lsqlquery/failure.h"
#include "lsqlquery/rows.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

namespace store
{

namespace
{

constexpr const char *READ = "read";

// One block: the pair, then the field, then the value. Sizes include the NUL.
lsqlquery_pv *makeRecord(const char *field, size_t fieldSize, const char *value, size_t valueSize)
{
    lsqlquery_pv *const pv = static_cast<lsqlquery_pv *>(malloc(sizeof *pv + fieldSize + valueSize));
    if (!pv)
        return nullptr;
    pv->field = reinterpret_cast<char *>(pv + 1);
    pv->value = pv->field + fieldSize;
    memcpy(pv->field, field, fieldSize);
    memcpy(pv->value, value, valueSize);
    return pv;
}

// What a read comes to that did not find the very key that was asked for.
int searchValue(Slot &slot, const lsqlstore_field &name, MDB_val &value)
{
    MDB_cursor *cursor;
    int rc = mdb_cursor_open(slot.txn, g_environment.mainTable, &cursor);
    if (rc)
        return rc;
    rc = guarded(slot.guard, [&] {
        Key key;
        bool isOwn;
        int found = resolveRow(cursor, name, key, isOwn);
        if (found)
            return found;
        MDB_val bytes = view(key);
        found = mdb_get(slot.txn, g_environment.mainTable, &bytes, &value);
        if (found == MDB_NOTFOUND && isOwn && strcmp(name.field, name.qualifier_field) == 0) {
            value = {strlen(name.qualifier_value) + 1, const_cast<char *>(name.qualifier_value)};
            return 0;
        }
        return found;
    });
    mdb_cursor_close(cursor);
    return rc;
}

int readValue(Slot &slot, const lsqlstore_field &name, Key &key, MDB_val &value)
{
    followTxn(slot.cache, mdb_txn_id(slot.txn));
    CachedValue &cached = cacheEntry(slot.cache, key);
    if (findCached(slot.cache, cached, key, value)) [[likely]]
        return 0;
    const int rc = guarded(slot.guard, [&] {
        MDB_val bytes = view(key);
        return mdb_get(slot.txn, g_environment.mainTable, &bytes, &value);
    });
    if (rc == 0)
        cacheValue(slot.cache, cached, key, value);
    else if (rc == MDB_NOTFOUND && name.qualifier_field)
        return searchValue(slot, name, value);
    return rc;
}

lsqlquery_pv *noRecord(const lsqlstore_field &name, int cause)
{
    if (cause == MDB_NOTFOUND) {
        foundNothing();
    } else {
        failed(READ, &name, cause);
        reportOnce();
    }
    return nullptr;
}

lsqlquery_pv *readRecord(const lsqlstore_field &name)
{
    Key key;
    if (!name.object || !name.field || (name.instance && !*name.instance) || !buildKey(key, name)) {
        refused(READ, &name, nameProblem(name));
        return nullptr;
    }
    Slot *slot;
    int rc = beginRead(slot);
    if (rc)
        return noRecord(name, rc);
    MDB_val value;
    lsqlquery_pv *pv = nullptr;
    rc = readValue(*slot, name, key, value);
    if (rc == 0) [[likely]] {
        if (!valueText(value))
            rc = MDB_CORRUPTED;
        else if (!(pv = makeRecord(name.field, key.lastSize, static_cast<const char *>(value.mv_data), value.mv_size)))
            rc = ENOMEM;
    }
    endRead(slot);
    return pv ? pv : noRecord(name, rc);
}

} // namespace

} // namespace store

lsqlquery_pv *lsqlquery_get_pv(const char *object, const char *instance, const char *field)
{
    return store::readRecord({object, instance, nullptr, nullptr, field, nullptr});
}

lsqlquery_pv *lsqlquery_get_pv_q1(const char *object, const char *instance, const char *field,
                                  const char *qualifier_field, const char *qualifier_value)
{
    const lsqlstore_field name = {object, instance, qualifier_field, qualifier_value, field, nullptr};
    if (!qualifier_field || !*qualifier_field || !qualifier_value) {
        store::refused(store::READ, &name, "the qualifier is null or empty: give its field and its value");
        return nullptr;
    }
    return store::readRecord(name);
}

lsqlquery_pv *lsqlquery_new_pv_solo(const char *field, const char *value)
{
    if (!field || !value)
        return nullptr;
    return store::makeRecord(field, strlen(field) + 1, value, strlen(value) + 1);
}

int lsqlquery_set_pv_with_error(const char *object, const char *instance, lsqlquery_pv *pv, lsqlquery_pv *qualifier,
                                char **error)
{
    lsqlstore_field field = {object, instance, nullptr, nullptr, nullptr, nullptr};
    if (!pv || !pv->field || !pv->value)
        return store::tell(error, store::refused("write", &field,
                                                 "the record or its value is null: make one with "
                                                 "lsqlquery_new_pv_solo"));
    if (qualifier && (!qualifier->field || !qualifier->value))
        return store::tell(error, store::refused("write", &field, "the qualifier's field or value is null: give both"));
    field.field = pv->field;
    field.value = pv->value;
    if (qualifier) {
        field.qualifier_field = qualifier->field;
        field.qualifier_value = qualifier->value;
    }
    return lsqlstore_write(&field, 1, 0, nullptr, error);
}

void lsqlquery_destroy_pv(lsqlquery_pv *pv)
{
    free(pv);
}
