// SPDX-License-Identifier: Apache-2.0
//
// Which row a name means, and whether a name can be one at all.
#ifndef LSQLQUERY_ROWS_H
#define LSQLQUERY_ROWS_H

#include "lsqlquery/key.h"

namespace store
{

// Null, or what is wrong with the name: "the object is null or empty: ...". Limits are in lsqlquery.h.
const char *nameProblem(const lsqlstore_field &name);

// The key of NAME's field in the row that answers NAME's qualifier. MDB_NOTFOUND if no row does; KEY is then the one
// that makes such a row. ISOWN: the row was written under this very qualifier.
int resolveRow(MDB_cursor *cursor, const lsqlstore_field &name, Key &key, bool &isOwn);

} // namespace store

#endif
