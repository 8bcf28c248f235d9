// SPDX-License-Identifier: Apache-2.0
//
// The table of changes: what was written last, in order, for those who watch the store.
//
// Key: the change's number, 8 bytes, high byte first, from 1. Value:
//
//     0   8  number of value bytes that this and all earlier changes took, high byte first
//     8   1  kind
//     9   .  the key of the main table
//     .   .  the value with its NUL; nothing if the field was removed
//
// The table is written in the transaction that makes the change, so it neither misses one nor tells of one that failed.
#ifndef LSQLQUERY_CHANGES_H
#define LSQLQUERY_CHANGES_H

#include "lsqlquery/environment.h"
#include "lsqlquery/key.h"

#include <stdint.h>

namespace store
{

constexpr const char *CHANGES_TABLE = "changes";
constexpr uint64_t CHANGES_KEPT = 1024;

// An open end of the table, in one write transaction.
struct ChangeLog {
    MDB_txn *txn;
    MDB_dbi table;
    uint64_t last;  // number of the latest change, 0 before the first
    uint64_t bytes; // its running total
};

int openLog(ChangeLog &log, MDB_txn *txn);

// Add a change of KEY, removal if VALUE is null, and drop those that have become too old.
int append(ChangeLog &log, const MDB_val &key, const MDB_val *value);

// The number of the latest change, 0 if there is none.
int lastChange(MDB_txn *txn, MDB_dbi table, uint64_t &number);

// The first change with this number or a higher one: NUMBER is set to it, and ENTRY to its value. MDB_NOTFOUND if there
// is none.
int findChange(MDB_txn *txn, MDB_dbi table, uint64_t &number, MDB_val &entry);

// The texts point into ENTRY.
bool parseChange(const MDB_val &entry, lsqlstore_field &change);

} // namespace store

#endif
