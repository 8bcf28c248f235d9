// SPDX-License-Identifier: Apache-2.0
//
// A store library of somebody else's that lives in memory and writes down what the daemon does: writes to the store,
// commands, replies, in the order of their happening, one line each. What the daemon's main thread does is appended to
// /tmp/effects, to which the daemon's standard output may be appended too; what another thread does to /tmp/worker.
//
//   set OBJECT[/INSTANCE] FIELD[ QFIELD=QVALUE]=VALUE
//   get ...                   a read; only those asked for (below)
//   FOLDER$ COMMAND           system(COMMAND) in that current directory
//   sleep SECONDS
//   reply BYTES               sent to the reply port; with the records that the thread has not released, if any
//
// A file /etc/recorded_store.new replaces all that is stored: a line break, KEY as after "set", a tab and VALUE for
// each field. "FIRST -> SECOND" is FIRST when it is read once, and then SECOND; "(none)" is no field. Fields of the
// script:
//
//   @reads...                 log all reads whose key begins with VALUE
//   @fail                     refuse every write with the error text VALUE
//
// It needs the C library alone, as the daemon does, to run wherever that runs.
#include "tests/support/store_functions.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

char *s_strStore = nullptr; // as in the file; of fields with the same key the first counts

// Texts are the heap's, as if memory were endless.
__attribute__((format(printf, 1, 2))) char *format(const char *strFormat, ...)
{
    char *strText = nullptr;
    va_list arguments;
    va_start(arguments, strFormat);
    if (vasprintf(&strText, strFormat, arguments) < 0)
        abort();
    va_end(arguments);
    return strText;
}

// strLine: released here
void note(char *strLine)
{
    const bool bMain = getpid() == syscall(SYS_gettid);
    const int iFile = open(bMain ? "/tmp/effects" : "/tmp/worker", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (write(iFile, strLine, strlen(strLine)) != static_cast<ssize_t>(strlen(strLine)))
        abort();
    close(iFile);
    free(strLine);
}

// Until the next call; null: there is no such field.
char *find(const char *strKey)
{
    static char *s_strValue = nullptr;
    free(s_strValue);
    char *const strStart = format("\n%s\t", strKey);
    const char *pValue = strstr(s_strStore, strStart);
    if (pValue)
        pValue += strlen(strStart);
    s_strValue = pValue && strncmp(pValue, "(none)", 6) != 0 ? strndup(pValue, strcspn(pValue, "\n")) : nullptr;
    free(strStart);
    return s_strValue;
}

void put(const char *strKey, const char *strValue)
{
    char *const strBefore = s_strStore;
    s_strStore = format("\n%s\t%s%s", strKey, strValue, strBefore);
    free(strBefore);
}

// Look for a new content.
void refresh()
{
    if (rename("/etc/recorded_store.new", "/etc/recorded_store") != 0)
        return;
    FILE *const pFile = fopen("/etc/recorded_store", "r");
    size_t uSize = 0;
    free(s_strStore);
    s_strStore = nullptr;
    if (getdelim(&s_strStore, &uSize, '\0', pFile) < 0)
        abort();
    fclose(pFile);
}

bool isNoted(const char *strKey)
{
    for (const char *pField = s_strStore; (pField = strstr(pField, "\n@reads"));) {
        pField = strchr(pField, '\t') + 1;
        if (strncmp(strKey, pField, strcspn(pField, "\n")) == 0)
            return true;
    }
    return false;
}

} // namespace

const char *readStore(const char *strKey)
{
    refresh();
    if (isNoted(strKey))
        note(format("get %s\n", strKey));
    char *const strValue = find(strKey);
    if (char *const pThen = strValue ? strstr(strValue, " -> ") : nullptr) {
        *pThen = '\0';
        put(strKey, pThen + 4);
    }
    return strValue;
}

const char *writeStore(const char *strKey, const char *strValue)
{
    refresh();
    note(format("set %s=%s\n", strKey, strValue));
    const char *const strFailure = find("@fail");
    if (!strFailure)
        put(strKey, strValue);
    return strFailure;
}

// The loader looks here before it looks into the C library.
extern "C" {

ssize_t sendto(int iFile, const void *pData, size_t uSize, int iFlags, const sockaddr *pTo, socklen_t uToSize)
{
    sockaddr_in address;
    memcpy(&address, pTo, sizeof address);
    if (ntohs(address.sin_port) == 62992)
        note(t_iRecords ? format("reply %zu, %d records out\n", uSize, t_iRecords) : format("reply %zu\n", uSize));
    return syscall(SYS_sendto, iFile, pData, uSize, iFlags, pTo, uToSize);
}

int system(const char *strCommand)
{
    char *const strFolder = getcwd(nullptr, 0);
    note(format("%s$ %s\n", strFolder, strCommand));
    free(strFolder);
    return reinterpret_cast<int (*)(const char *)>(dlsym(RTLD_NEXT, "system"))(strCommand);
}

unsigned sleep(unsigned uSeconds)
{
    note(format("sleep %u\n", uSeconds));
    return static_cast<unsigned>(usleep(1'000'000 * uSeconds));
}
}
