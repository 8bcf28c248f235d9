// SPDX-License-Identifier: Apache-2.0
//
// Where a slot found values before, so that reading a field again costs no search.
//
// LMDB never changes a page that the latest transaction shows. As long as a renewed read transaction has the number
// that it had before, what was found then is still at the same address; with the next commit of any process the number
// is another, and everything is searched for anew. So nothing can be out of date.
//
// A cached value is known by its key, which LMDB keeps right before it. That is verified when it is cached, not
// assumed: a value that lies elsewhere, such as a large one on pages of its own, is just not cached.
#ifndef LSQLQUERY_CACHE_H
#define LSQLQUERY_CACHE_H

#include "lsqlquery/key.h"

#include <stdint.h>
#include <string.h>

namespace store
{

struct CachedValue {
    const char *value;
    uint32_t generation;
    uint16_t keySize;
    uint16_t valueSize;
};

struct Cache {
    static constexpr unsigned BITS = 9; // 512 entries, 8 kB; an access point has about 60 fields
    size_t txnId;
    uint32_t generation; // 0: empty; entries of other generations do not count
    CachedValue entries[1 << BITS];
};

inline void emptyCache(Cache &cache)
{
    if (++cache.generation == 0) {
        memset(cache.entries, 0, sizeof cache.entries);
        cache.generation = 1;
    }
}

// Before a look-up: drop what an earlier transaction showed.
inline void followTxn(Cache &cache, size_t txnId)
{
    if (cache.txnId == txnId && cache.generation != 0) [[likely]]
        return;
    cache.txnId = txnId;
    emptyCache(cache);
}

inline CachedValue &cacheEntry(Cache &cache, const Key &key)
{
    size_t hash = key.size;
    for (size_t at = 0; at < key.size; at += sizeof hash) {
        size_t word; // the key is padded to whole words
        memcpy(&word, key.bytes + at, sizeof word);
        hash = (hash ^ word) * static_cast<size_t>(0x9E3779B97F4A7C15);
        hash ^= hash >> (sizeof hash * 4);
    }
    return cache.entries[hash >> (sizeof hash * 8 - Cache::BITS)];
}

inline bool findCached(const Cache &cache, const CachedValue &entry, const Key &key, MDB_val &value)
{
    if (entry.generation != cache.generation || entry.keySize != key.size ||
        memcmp(entry.value - key.size, key.bytes, key.size) != 0)
        return false;
    value = {entry.valueSize, const_cast<char *>(entry.value)};
    return true;
}

inline void cacheValue(const Cache &cache, CachedValue &entry, const Key &key, const MDB_val &value)
{
    // No value lies on the file's first pages, so that there is always something before it to look at.
    const char *const text = static_cast<const char *>(value.mv_data);
    if (value.mv_size <= UINT16_MAX && memcmp(text - key.size, key.bytes, key.size) == 0)
        entry = {text, cache.generation, static_cast<uint16_t>(key.size), static_cast<uint16_t>(value.mv_size)};
}

} // namespace store

#endif
