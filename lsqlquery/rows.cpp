// SPDX-License-Identifier: Apache-2.0
#include "lsqlquery/rows.h"

#include <string.h>

namespace store
{

namespace
{

bool isEmpty(const char *text)
{
    return !text || !*text;
}

// The first row of the instance in which the qualifier field is stored with the qualifier value.
int searchRow(MDB_cursor *cursor, const lsqlstore_field &name, Key &key)
{
    Key instance;
    buildKey(instance, name, Extent::instance);
    MDB_val at = view(instance);
    MDB_val value;
    int rc = mdb_cursor_get(cursor, &at, &value, MDB_SET_RANGE);
    for (; rc == 0 && hasPrefix(at, instance); rc = mdb_cursor_get(cursor, &at, &value, MDB_NEXT)) {
        lsqlstore_field found;
        const char *const text = valueText(value);
        if (!text || !parseKey(at, found))
            return MDB_CORRUPTED;
        if (strcmp(found.field, name.qualifier_field) != 0 || strcmp(text, name.qualifier_value) != 0)
            continue;
        found.field = name.field;
        return buildKey(key, found) ? 0 : MDB_BAD_VALSIZE;
    }
    return rc == 0 ? MDB_NOTFOUND : rc;
}

} // namespace

const char *nameProblem(const lsqlstore_field &name)
{
    if (isEmpty(name.object))
        return "the object is null or empty: give its name";
    if (strchr(name.object, '/'))
        return "the object's name has a '/': use another name";
    if (name.instance && !*name.instance)
        return "the instance is empty: give its name, or null for an object without rows";
    if (isEmpty(name.field))
        return "the field is null or empty: give its name";
    if (!name.qualifier_field != !name.qualifier_value)
        return "half of the qualifier is null: give its field and its value, or neither";
    if (name.qualifier_field && !*name.qualifier_field)
        return "the qualifier's field is empty: give its name";
    if (name.qualifier_field && strchr(name.qualifier_field, '='))
        return "the qualifier's field has a '=': use another name";
    Key key;
    if (!buildKey(key, name))
        return "object, instance, qualifier and field are longer than 506 bytes together: use shorter names";
    return nullptr;
}

int resolveRow(MDB_cursor *cursor, const lsqlstore_field &name, Key &key, bool &isOwn)
{
    Key row;
    buildKey(row, name, Extent::row);
    MDB_val at = view(row);
    const int rc = mdb_cursor_get(cursor, &at, nullptr, MDB_SET_RANGE);
    if (rc != 0 && rc != MDB_NOTFOUND)
        return rc;
    isOwn = rc == 0 && hasPrefix(at, row);
    if (!isOwn) {
        const int searched = searchRow(cursor, name, key);
        if (searched != MDB_NOTFOUND)
            return searched;
    }
    buildKey(key, name);
    return isOwn ? 0 : MDB_NOTFOUND;
}

} // namespace store
