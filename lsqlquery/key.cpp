// SPDX-License-Identifier: Apache-2.0
#include "lsqlquery/key.h"

#include <string.h>

namespace store
{

namespace
{

struct Parts {
    const char *text[KEY_PARTS];
};

Parts partsOf(const lsqlstore_field &name)
{
    const auto orEmpty = [](const char *text) { return text ? text : ""; };
    return {{name.object, orEmpty(name.instance), orEmpty(name.qualifier_field), orEmpty(name.qualifier_value),
             orEmpty(name.field)}};
}

const char *orNull(const char *text)
{
    return *text ? text : nullptr;
}

} // namespace

bool buildKey(Key &key, const lsqlstore_field &name, Extent extent)
{
    const Parts parts = partsOf(name);
    size_t size = 0;
    for (size_t i = 0; i < static_cast<size_t>(extent); i++) {
        // Every read comes by here: the parts are short, and the middle ones mostly absent.
        const char *const text = parts.text[i];
        if (!*text && size < KEY_MAX) {
            key.bytes[size++] = '\0';
            key.lastSize = 1;
            continue;
        }
        const size_t partSize = strlen(text) + 1;
        if (partSize > KEY_MAX - size)
            return false;
        memcpy(key.bytes + size, text, partSize);
        size += partSize;
        key.lastSize = partSize;
    }
    key.size = size;
    memset(key.bytes + size, 0, sizeof(size_t));
    return true;
}

size_t parseTexts(const char *bytes, size_t size, lsqlstore_field &name)
{
    const char *at = bytes;
    const char *part[KEY_PARTS];
    for (const char *&text : part) {
        text = at;
        const void *const nul = memchr(at, 0, size - static_cast<size_t>(at - bytes));
        if (!nul)
            return 0;
        at = static_cast<const char *>(nul) + 1;
    }
    name.object = part[0];
    name.instance = orNull(part[1]);
    name.qualifier_field = orNull(part[2]);
    name.qualifier_value = name.qualifier_field ? part[3] : nullptr;
    name.field = part[4];
    return static_cast<size_t>(at - bytes);
}

bool parseKey(const MDB_val &bytes, lsqlstore_field &name)
{
    return bytes.mv_size && parseTexts(static_cast<const char *>(bytes.mv_data), bytes.mv_size, name) == bytes.mv_size;
}

const char *valueText(const MDB_val &bytes)
{
    // The size first: in a damaged file it may reach beyond what is mapped.
    if (bytes.mv_size == 0 || bytes.mv_size > VALUE_MAX)
        return nullptr;
    const char *const text = static_cast<const char *>(bytes.mv_data);
    return text[bytes.mv_size - 1] == 0 ? text : nullptr;
}

int compareNames(const lsqlstore_field &a, const lsqlstore_field &b)
{
    const Parts left = partsOf(a);
    const Parts right = partsOf(b);
    for (size_t i = 0; i < KEY_PARTS; i++)
        if (const int order = strcmp(left.text[i], right.text[i]))
            return order;
    return 0;
}

} // namespace store
