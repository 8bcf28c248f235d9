// SPDX-License-Identifier: Apache-2.0
#include "lsqlquery/changes.h"

#include <string.h>

namespace store
{

namespace
{

enum : char { KIND_WRITTEN = 'w', KIND_REMOVED = 'r' };

constexpr size_t ENTRY_HEAD = 9;
constexpr uint64_t BYTES_KEPT = 1 << 20;

struct Number {
    unsigned char bytes[8];
};

Number encode(uint64_t value)
{
    Number number;
    for (int i = 7; i >= 0; i--, value >>= 8)
        number.bytes[i] = static_cast<unsigned char>(value);
    return number;
}

uint64_t decode(const void *bytes)
{
    uint64_t value = 0;
    for (int i = 0; i < 8; i++)
        value = value << 8 | static_cast<const unsigned char *>(bytes)[i];
    return value;
}

bool isEntry(const MDB_val &key, const MDB_val &entry)
{
    return key.mv_size == sizeof(Number) && entry.mv_size > ENTRY_HEAD &&
           entry.mv_size <= ENTRY_HEAD + KEY_MAX + VALUE_MAX;
}

// The entry at the position OPERATION, from NUMBER for MDB_SET_RANGE.
int seek(MDB_txn *txn, MDB_dbi table, MDB_cursor_op operation, uint64_t &number, MDB_val &entry)
{
    MDB_cursor *cursor;
    int rc = mdb_cursor_open(txn, table, &cursor);
    if (rc)
        return rc;
    Number name = encode(number);
    MDB_val key = {sizeof name, name.bytes};
    rc = mdb_cursor_get(cursor, &key, &entry, operation);
    mdb_cursor_close(cursor);
    if (rc)
        return rc;
    if (!isEntry(key, entry))
        return MDB_CORRUPTED;
    number = decode(key.mv_data);
    return 0;
}

int dropOld(ChangeLog &log)
{
    const uint64_t share = g_environment.mapSize / 8;
    const uint64_t bytesKept = share < BYTES_KEPT ? share : BYTES_KEPT;
    for (;;) {
        uint64_t number = 0;
        MDB_val entry;
        int rc = seek(log.txn, log.table, MDB_FIRST, number, entry);
        if (rc)
            return rc;
        const bool isOld = log.last - number >= CHANGES_KEPT || log.bytes - decode(entry.mv_data) > bytesKept;
        if (!isOld || number == log.last)
            return 0;
        Number name = encode(number);
        MDB_val key = {sizeof name, name.bytes};
        if ((rc = mdb_del(log.txn, log.table, &key, nullptr)) != 0)
            return rc;
    }
}

} // namespace

int openLog(ChangeLog &log, MDB_txn *txn)
{
    log.txn = txn;
    log.table = g_environment.changes.load();
    log.last = log.bytes = 0;
    if (log.table == 0)
        if (const int rc = mdb_dbi_open(txn, CHANGES_TABLE, MDB_CREATE, &log.table))
            return rc;
    MDB_val entry;
    const int rc = seek(txn, log.table, MDB_LAST, log.last, entry);
    if (rc == MDB_NOTFOUND)
        return 0;
    if (rc == 0)
        log.bytes = decode(entry.mv_data);
    return rc;
}

int append(ChangeLog &log, const MDB_val &key, const MDB_val *value)
{
    const size_t valueSize = value ? value->mv_size : 0;
    Number name = encode(++log.last);
    MDB_val number = {sizeof name, name.bytes};
    MDB_val entry = {ENTRY_HEAD + key.mv_size + valueSize, nullptr};
    if (const int rc = mdb_put(log.txn, log.table, &number, &entry, MDB_RESERVE | MDB_APPEND))
        return rc;
    log.bytes += entry.mv_size;
    char *const at = static_cast<char *>(entry.mv_data);
    const Number total = encode(log.bytes);
    memcpy(at, total.bytes, sizeof total);
    at[ENTRY_HEAD - 1] = value ? KIND_WRITTEN : KIND_REMOVED;
    memcpy(at + ENTRY_HEAD, key.mv_data, key.mv_size);
    if (value)
        memcpy(at + ENTRY_HEAD + key.mv_size, value->mv_data, valueSize);
    return dropOld(log);
}

int lastChange(MDB_txn *txn, MDB_dbi table, uint64_t &number)
{
    MDB_val entry;
    number = 0;
    const int rc = seek(txn, table, MDB_LAST, number, entry);
    return rc == MDB_NOTFOUND ? 0 : rc;
}

int findChange(MDB_txn *txn, MDB_dbi table, uint64_t &number, MDB_val &entry)
{
    return seek(txn, table, MDB_SET_RANGE, number, entry);
}

bool parseChange(const MDB_val &entry, lsqlstore_field &change)
{
    const char *const start = static_cast<const char *>(entry.mv_data) + ENTRY_HEAD;
    const size_t size = entry.mv_size - ENTRY_HEAD;
    const size_t keySize = parseTexts(start, size, change);
    change.value = nullptr;
    if (keySize && start[-1] == KIND_WRITTEN)
        change.value = valueText({size - keySize, const_cast<char *>(start + keySize)});
    return keySize && (change.value || start[-1] == KIND_REMOVED);
}

} // namespace store
