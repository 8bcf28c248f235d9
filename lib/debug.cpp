// SPDX-License-Identifier: Apache-2.0
#include "lib/debug.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

int g_iDebug = 0;

void sysDebug(const char *strFormat, ...)
{
    if (!g_iDebug)
        return;
    constexpr char strPrefix[] = "vxpd: ";
    constexpr size_t uPrefix = sizeof strPrefix - 1;
    char strLine[1024];
    memcpy(strLine, strPrefix, sizeof strPrefix);

    va_list args;
    va_start(args, strFormat);
    vsnprintf(strLine + uPrefix, sizeof strLine - uPrefix, strFormat, args);
    va_end(args);

    char *pOut = strLine;
    for (const char *pIn = strLine; *pIn; pIn++) {
        *pOut++ = *pIn;
        if (pIn[0] == '%' && pIn[1] == '%')
            pIn++;
    }
    fwrite(strLine, 1, static_cast<size_t>(pOut - strLine), stderr);
}
