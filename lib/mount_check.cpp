// SPDX-License-Identifier: Apache-2.0
#include "lib/mount_check.h"

#include "lib/key_path.h"
#include "lib/strings.h"

#include <mntent.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace
{

// Copy the mount directory of the first entry, other than the root's, that is strWanted by device or by directory.
bool findMount(const char *strWanted, std::span<char> mountPoint)
{
    FILE *const pTable = setmntent("/proc/mounts", "re");
    if (!pTable)
        return false;
    mountPoint[0] = '\0';
    bool bFound = false;
    mntent entry;
    char strLine[1024];
    while (!bFound && getmntent_r(pTable, &entry, strLine, sizeof strLine)) {
        if (strcmp(entry.mnt_dir, "/") == 0)
            continue;
        if (strcmp(entry.mnt_fsname, strWanted) == 0 || strcmp(entry.mnt_dir, strWanted) == 0) {
            copyText(mountPoint, entry.mnt_dir);
            bFound = true;
        }
    }
    endmntent(pTable);
    return bFound;
}

} // namespace

const char *afIsMounted(const char *strFormat, ...)
{
    static char s_strMountPoint[1024];

    char strPath[1024];
    va_list args;
    va_start(args, strFormat);
    vsnprintf(strPath, sizeof strPath, strFormat, args);
    va_end(args);
    if (char *pSlash = strPath[0] ? strchr(strPath + 1, '/') : nullptr)
        *pSlash = '\0';

    if (!findMount(strPath, s_strMountPoint))
        return nullptr;
    const int32_t iVolume = dbQueryVolumeEx(s_strMountPoint);
    if (iVolume < 0)
        return s_strMountPoint;
    char strState[1024] = "";
    dbGetStr(strState, "/raid/vols/vol:%d/raid_state", iVolume + 1);
    return strcmp(strState, "damaged") == 0 ? nullptr : s_strMountPoint;
}
