// SPDX-License-Identifier: Apache-2.0
//
// Settings keyed by slash-separated paths, shared with storage devices. No store stands behind it on this device:
// every operation builds its key and does nothing else. Date, dynamic DNS and VLAN requests call it all the same, so
// what they set is accepted, answered and not kept. Do not wire it to the configuration store.
//
// A key is a printf format and its arguments, cut at 1023 characters. Numbers are stored as decimal text.
#ifndef VXP_LIB_KEY_PATH_H
#define VXP_LIB_KEY_PATH_H

#include <cstdint>
#include <span>

int dbGetStr(std::span<char> dst, const char *strKey, ...) __attribute__((format(printf, 2, 3)));  // 1; dst untouched
int dbSetStr(const char *strValue, const char *strKey, ...) __attribute__((format(printf, 2, 3))); // 1
int dbInsert(const char *strKey, ...) __attribute__((format(printf, 1, 2)));                       // 1
int dbDelete(const char *strKey, ...) __attribute__((format(printf, 1, 2)));                       // 1
int dbSetULL(uint64_t uValue, const char *strKey, ...) __attribute__((format(printf, 2, 3)));      // 0
int dbSetLL(int64_t iValue, const char *strKey, ...) __attribute__((format(printf, 2, 3)));        // 0
uint64_t dbGetULL(const char *strKey, ...) __attribute__((format(printf, 1, 2)));                  // 0 if missing
int64_t dbGetLL(const char *strKey, ...) __attribute__((format(printf, 1, 2)));                    // 0 if missing

int dbSetPercent(int32_t iPercent);
int32_t dbGetPercent();
int32_t dbGetScanResultCount();
int32_t dbGetRSnapInfoCount();
int32_t dbGetRSnapSettingCount();
int32_t dbGetVolumeCount();
int32_t dbGetRaidCount();
int32_t dbGetMdevCount();
int32_t dbGetDiskCount();

// Index, from 0, of the volume whose label, mount point or UUID is strName; -1 when there is none.
int32_t dbQueryVolumeEx(const char *strName);

#endif
