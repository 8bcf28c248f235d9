// SPDX-License-Identifier: Apache-2.0
//
// Opening and closing the store's files, and their sizes. Everything here is called by someone who is alone with the
// environment (environment.h), coverMap excepted.
#ifndef LSQLQUERY_OPEN_H
#define LSQLQUERY_OPEN_H

#include "lsqlquery/environment.h"

#include <sys/stat.h>

namespace store
{

constexpr size_t MAP_SIZE_DEFAULT = size_t{16} << 20; // bytes; small enough for the address space of a 32-bit device
constexpr size_t MAP_SIZE_MIN = size_t{64} << 10;

// Open the store, read-only if the file system is. A store is made only if CREATE says so. Zero or a cause.
int openStore(Environment &environment, bool create, MDB_assert_func *onAssertion);
void closeStore(Environment &environment);

// Adopt the size to which other processes have let the store grow. On failure the store can only be closed.
int resizeStore(Environment &environment);

// Open the table of changes if there is one; it is not a failure if there is none.
int openChangesTable(Environment &environment);

// Inside a write transaction: make the data file as long as the map, as one hole. LMDB leaves pages at the end
// unwritten that it allocated and freed in one transaction, so the length would say nothing; this way a file that
// ends before its last page was cut short, and no page that LMDB may touch lies beyond the end of the file (SIGBUS).
int coverMap(const Environment &environment);

// ENOENT if there is no data file, or an empty one.
int statDataFile(struct stat &file);

} // namespace store

#endif
