// SPDX-License-Identifier: Apache-2.0
//
// Keys of the store's main table.
//
//     OBJECT NUL INSTANCE NUL QUALIFIER-FIELD NUL QUALIFIER-VALUE NUL FIELD NUL
//
// An absent instance or qualifier is an empty text; names are never empty, so the two cannot be mixed up. The fields of
// a row, the rows of an instance and the instances of an object are neighbours, and the row without a qualifier comes
// first. Every part ends in NUL, so that the parts of a stored key are used in place. LMDB sorts by memcmp.
//
// The table also holds one key without NUL, which LMDB keeps for the table of changes.
#ifndef LSQLQUERY_KEY_H
#define LSQLQUERY_KEY_H

#include "lsqlquery/lsqlstore.h"

#include <lmdb.h>

#include <cstddef>

namespace store
{

constexpr size_t KEY_MAX = 511;               // bytes, LMDB's limit
constexpr size_t KEY_PARTS = 5;               // texts in a key
constexpr size_t VALUE_MAX = size_t{1} << 20; // bytes, the NUL included

struct Key {
    size_t size;
    size_t lastSize;                      // bytes of the last part, its NUL included
    char bytes[KEY_MAX + sizeof(size_t)]; // zeros follow the key, up to a whole word
};

// How much of a key to build: all of it, or the prefix that neighbours share.
enum class Extent { object = 1, instance = 2, row = 4, field = 5 };

// False if the names are longer than a key can be.
bool buildKey(Key &key, const lsqlstore_field &name, Extent extent = Extent::field);

// The size of the key at the beginning of BYTES, 0 if there is none. NAME's texts point into it; value is left alone.
size_t parseTexts(const char *bytes, size_t size, lsqlstore_field &name);

// The same for all of BYTES. False if these are not the bytes of a key.
bool parseKey(const MDB_val &bytes, lsqlstore_field &name);

// The value's text, or null if the bytes are not a value: one NUL, at the end.
const char *valueText(const MDB_val &bytes);

// The order of the keys, without building them.
int compareNames(const lsqlstore_field &a, const lsqlstore_field &b);

inline MDB_val view(Key &key)
{
    return {key.size, key.bytes};
}

inline bool hasPrefix(const MDB_val &bytes, const Key &prefix)
{
    return bytes.mv_size >= prefix.size && __builtin_memcmp(bytes.mv_data, prefix.bytes, prefix.size) == 0;
}

} // namespace store

#endif
