// SPDX-License-Identifier: Apache-2.0
//
// The functions of a store library, for stores that tests make: each defines how it reads and writes. These need the C
// library alone, to run wherever the daemon does.
#ifndef VXP_TESTS_SUPPORT_STORE_FUNCTIONS_H
#define VXP_TESTS_SUPPORT_STORE_FUNCTIONS_H

extern constinit thread_local int t_iRecords; // made and not yet released

// Defined by the store, and never called twice at a time. A key is "OBJECT[/INSTANCE] FIELD[ QFIELD=QVALUE]". Results
// are read before the next call.
const char *readStore(const char *strKey);                        // null: there is no such field
const char *writeStore(const char *strKey, const char *strValue); // the error's text, or null

#endif
