// SPDX-License-Identifier: Apache-2.0
#include "daemon/dump.h"

#include "lib/debug.h"
#include "lib/mount_check.h"

#include <cstdio>

const char *g_strDumpFolder = "/Volume_1";

void dumpDatagram(Dump kind, const void *pData, size_t uLen)
{
    static unsigned s_uCounter = 0;

    if (!g_iDebug || !g_strDumpFolder || !afIsMounted("%s", g_strDumpFolder))
        return;
    char strFile[1024];
    const bool bRequest = kind == Dump::request;
    snprintf(strFile, sizeof strFile, "%s/vxp_%s_%04u", g_strDumpFolder, bRequest ? "req" : "msg", s_uCounter++);
    fprintf(stderr, "received a %s message. save it to %s now.\n", bRequest ? "request" : "reply", strFile);
    FILE *const pFile = fopen(strFile, "we");
    if (!pFile)
        return;
    fwrite(pData, 1, uLen, pFile);
    fclose(pFile);
}
