// SPDX-License-Identifier: Apache-2.0
#include "sys/settings.h"

#include "lib/assertion.h"
#include "lib/strings.h"

#include <cstdio>
#include <cstring>

int sysGetDatetime(std::span<char> out)
{
    memset(out.data(), 0, out.size());
    FILE *const pPipe = popen("date +%Y%m%d%H%M%S", "re");
    if (!pPipe)
        return -1;
    char strLine[1024];
    const bool bRead = fgets(strLine, sizeof strLine, pPipe);
    if (bRead) {
        const char *const strTime = strtrim(strLine, nullptr);
        assertThat(out.size() > strlen(strTime), "buf_len>strlen(str)", "sys");
        copyText(out, strTime);
    }
    pclose(pPipe);
    return bRead ? 0 : -1;
}
