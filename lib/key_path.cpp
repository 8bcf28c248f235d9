// SPDX-License-Identifier: Apache-2.0
#include "lib/key_path.h"

#include "lib/numbers.h"

#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace
{

struct Key {
    char strPath[1024];
};

// Build a key from the caller's format and arguments.
#define KEY_FROM_ARGUMENTS(key, strFormat)                                                                             \
    Key key;                                                                                                           \
    do {                                                                                                               \
        va_list args;                                                                                                  \
        va_start(args, strFormat);                                                                                     \
        vsnprintf((key).strPath, sizeof(key).strPath, strFormat, args);                                                \
        va_end(args);                                                                                                  \
    } while (0)

template <class Number>
int setNumber(const Key &key, Number number)
{
    char strValue[24] = "";
    std::to_chars(strValue, strValue + sizeof strValue - 1, number);
    dbSetStr(strValue, "%s", key.strPath);
    return 0;
}

template <class Number>
Number getNumber(const Key &key, Number (*pParse)(const char *))
{
    char strValue[1024] = "";
    dbGetStr(strValue, "%s", key.strPath);
    return strValue[0] ? pParse(strValue) : 0;
}

int32_t count(const char *strKey)
{
    return static_cast<int32_t>(dbGetLL("%s", strKey));
}

} // namespace

int dbGetStr(std::span<char>, const char *strKey, ...)
{
    KEY_FROM_ARGUMENTS(key, strKey);
    return 1;
}

int dbSetStr(const char *, const char *strKey, ...)
{
    KEY_FROM_ARGUMENTS(key, strKey);
    return 1;
}

int dbInsert(const char *strKey, ...)
{
    KEY_FROM_ARGUMENTS(key, strKey);
    return 1;
}

int dbDelete(const char *strKey, ...)
{
    KEY_FROM_ARGUMENTS(key, strKey);
    return 1;
}

int dbSetULL(uint64_t uValue, const char *strKey, ...)
{
    KEY_FROM_ARGUMENTS(key, strKey);
    return setNumber(key, uValue);
}

int dbSetLL(int64_t iValue, const char *strKey, ...)
{
    KEY_FROM_ARGUMENTS(key, strKey);
    return setNumber(key, iValue);
}

uint64_t dbGetULL(const char *strKey, ...)
{
    KEY_FROM_ARGUMENTS(key, strKey);
    return getNumber(key, str2ull);
}

int64_t dbGetLL(const char *strKey, ...)
{
    KEY_FROM_ARGUMENTS(key, strKey);
    return getNumber(key, str2ll);
}

int dbSetPercent(int32_t iPercent)
{
    return dbSetLL(iPercent, "/temp/raid/percent");
}

int32_t dbGetPercent()
{
    return count("/temp/raid/percent");
}

int32_t dbGetScanResultCount()
{
    return count("/temp/vol_scan/results/count");
}

int32_t dbGetRSnapInfoCount()
{
    return count("/temp/rsnaps/count");
}

int32_t dbGetRSnapSettingCount()
{
    return count("/rsnaps/count");
}

int32_t dbGetVolumeCount()
{
    return count("/raid/vols/count");
}

int32_t dbGetRaidCount()
{
    return count("/raid/mds/count");
}

int32_t dbGetMdevCount()
{
    return count("/temp/esatas/count");
}

int32_t dbGetDiskCount()
{
    return count("/raid/disks/count");
}

int32_t dbQueryVolumeEx(const char *strName)
{
    const int32_t iVolumes = dbGetVolumeCount();
    for (int32_t i = 1; i <= iVolumes; i++) {
        for (const char *strField : {"label", "mnt", "uuid"}) {
            char strValue[1024] = "";
            dbGetStr(strValue, "/raid/vols/vol:%d/%s", i, strField);
            if (strcmp(strValue, strName) == 0)
                return i - 1;
        }
    }
    return -1;
}
