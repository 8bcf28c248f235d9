// SPDX-License-Identifier: Apache-2.0
#include "lib/command.h"

#include "lib/strings.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace
{

constexpr size_t COMMAND_SIZE = 1024;
constexpr size_t MAX_WORDS = 256;

// Device developers put the marker there and take it away while the daemon runs.
bool isTracing()
{
    return access("/system/cfg/debug", R_OK) == 0;
}

void traceFailure(const char *strCommand, int iStatus)
{
    if (iStatus == -1) {
        printf("system(%s) failed - can't fork.\n", strCommand);
    } else {
        printf("!!!status=%d, WIFEXITED=%d, WEXITSTATUS=%d\n", iStatus, WIFEXITED(iStatus) ? 1 : 0,
               WEXITSTATUS(iStatus));
        printf("cmd=\"%s\" not exited normally.\n", strCommand); // said of every failure
    }
    fflush(stdout);
}

[[noreturn]] void runWords(char *strCommand)
{
    char *strWords[MAX_WORDS + 1] = {};
    char *pRest = strtrim(strCommand, nullptr);
    for (size_t i = 0; i < MAX_WORDS && (strWords[i] = strsep_ex(&pRest, " ")); i++)
        continue;
    if (!strWords[0])
        _exit(-1);
    execvp(strWords[0], strWords);
    _exit(0);
}

// Look once a second until the child has ended or the limit is exceeded. The last look comes after the last second, so
// that a limit of 0 has time to see a child that ends at once.
int waitForChild(pid_t iChild, int iTimeout)
{
    for (int iSeconds = 0;; iSeconds++) {
        const pid_t iResult = waitpid(iChild, nullptr, WNOHANG);
        if (iResult != 0)
            return iResult > 0 ? 0 : -1;
        if (iTimeout != -1 && iSeconds > iTimeout) {
            kill(iChild, SIGTERM);
            return -1;
        }
        sleep(1);
    }
}

} // namespace

int System(const char *strFormat, ...)
{
    const bool bTrace = isTracing();
    char strCommand[COMMAND_SIZE];
    va_list args;
    va_start(args, strFormat);
    vsnprintf(strCommand, sizeof strCommand, strFormat, args);
    va_end(args);

    if (bTrace)
        printf("SYSCMD: %s\n", strCommand);
    const int iStatus = system(strCommand);
    if (iStatus == 0)
        return 0;
    if (bTrace)
        traceFailure(strCommand, iStatus);
    return -1;
}

int System_with_timeout(int iTimeout, const char *strFormat, ...)
{
    char strCommand[COMMAND_SIZE];
    va_list args;
    va_start(args, strFormat);
    vsnprintf(strCommand, sizeof strCommand, strFormat, args);
    va_end(args);

    printf("SYSCMD_T: %s\n", strCommand);
    const pid_t iChild = fork();
    if (iChild == -1)
        return -1;
    if (iChild == 0)
        runWords(strCommand);
    if (iTimeout < -1) {
        kill(iChild, SIGTERM);
        return -1;
    }
    return waitForChild(iChild, iTimeout);
}
