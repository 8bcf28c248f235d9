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
// A file /etc/recorded_store.new replaces all that is stored: "KEY<TAB>VALUE" lines, KEY as after "set". Script lines:
//
//   @reads...                 log all reads whose key begins with VALUE
//   @fail                     refuse every write with the error text VALUE
//   @read N KEY               at the N-th read of KEY, which is stored, the value becomes VALUE
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
#include <new>

namespace
{

struct Field {
    Field *pNext;
    char *strKey;
    char *strValue;
    int iReads;
};

Field *s_pFields = nullptr;

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

Field *find(const char *strKey)
{
    Field *pField = s_pFields;
    while (pField && strcmp(pField->strKey, strKey) != 0)
        pField = pField->pNext;
    return pField;
}

void put(const char *strKey, const char *strValue)
{
    Field *pField = find(strKey);
    if (!pField)
        s_pFields = pField = new (malloc(sizeof(Field))) Field{s_pFields, strdup(strKey), nullptr, 0};
    free(pField->strValue);
    pField->strValue = strdup(strValue);
}

void clear()
{
    while (Field *const pField = s_pFields) {
        s_pFields = pField->pNext;
        free(pField->strKey);
        free(pField->strValue);
        free(pField);
    }
}

// Look for a new content.
void refresh()
{
    if (rename("/etc/recorded_store.new", "/etc/recorded_store") != 0)
        return;
    clear();
    FILE *const pFile = fopen("/etc/recorded_store", "r");
    char *strLine = nullptr;
    size_t uSize = 0;
    while (getline(&strLine, &uSize, pFile) > 0) {
        char *const strValue = strchr(strLine, '\t');
        *strValue = '\0';
        strValue[1 + strcspn(strValue + 1, "\n")] = '\0';
        put(strLine, strValue + 1);
    }
    free(strLine);
    fclose(pFile);
}

bool isNoted(const char *strKey)
{
    for (const Field *pField = s_pFields; pField; pField = pField->pNext)
        if (strncmp(pField->strKey, "@reads", 6) == 0 &&
            strncmp(strKey, pField->strValue, strlen(pField->strValue)) == 0)
            return true;
    return false;
}

template <typename Function>
Function *next(const char *strName)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, strName));
}

} // namespace

const char *readStore(const char *strKey)
{
    refresh();
    if (isNoted(strKey))
        note(format("get %s\n", strKey));
    Field *const pField = find(strKey);
    if (!pField)
        return nullptr;
    char *const strChange = format("@read %d %s", ++pField->iReads, strKey);
    if (const Field *const pChange = find(strChange))
        put(strKey, pChange->strValue);
    free(strChange);
    return pField->strValue;
}

const char *writeStore(const char *strKey, const char *strValue)
{
    refresh();
    note(format("set %s=%s\n", strKey, strValue));
    if (const Field *const pFailure = find("@fail"))
        return pFailure->strValue;
    put(strKey, strValue);
    return nullptr;
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
    return next<int(const char *)>("system")(strCommand);
}

unsigned sleep(unsigned uSeconds)
{
    note(format("sleep %u\n", uSeconds));
    return next<unsigned(unsigned)>("sleep")(uSeconds);
}
}
