// SPDX-License-Identifier: Apache-2.0
//
// Failures: one table from causes to outcomes and advice, and the latest failure of each thread.
#ifndef LSQLQUERY_FAILURE_H
#define LSQLQUERY_FAILURE_H

#include "lsqlquery/lsqlstore.h"

namespace store
{

// Causes of our own, besides errno (positive) and LMDB's (-30799 to -30780).
enum : int {
    CAUSE_NO_FOLDER = -1001,
    CAUSE_NO_STORE = -1002,
    CAUSE_CUT_SHORT = -1003,
    CAUSE_BUSY = -1004, // other threads of this process kept the store for longer than anyone should
    CAUSE_MAP_SIZE = -1005,
    CAUSE_NOT_FOUND = -1006,
    CAUSE_DENIED = -1007,
};

// Remember "cannot VERB NAME: cause (store FOLDER): advice" as this thread's latest failure; its outcome is returned.
// NAME may be null.
int failed(const char *verb, const lsqlstore_field *name, int cause);

// The same for an argument that cannot be used: "cannot VERB NAME: PROBLEM".
int refused(const char *verb, const lsqlstore_field *name, const char *problem);

// A read found nothing in a store that is well.
void foundNothing();

// Report this thread's latest failure on behalf of callers who only see null, unless it is of the kind reported last.
void reportOnce();

// The store is well: the next failure is news, whatever its kind.
void forgetReports();

// Hand this thread's latest failure to a caller; OUTCOME is returned.
int tell(char **error, int outcome);

} // namespace store

#endif
