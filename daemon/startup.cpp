// SPDX-License-Identifier: Apache-2.0
#include "daemon/startup.h"

#include "lib/debug.h"
#include "lib/strings.h"
#include "sys/lsqldb.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

constexpr char SAVED_ADDRESS[] = "/etc/reserved_IP"; // "ADDRESS,MASK,GATEWAY,"

[[noreturn]] void fail(const char *strMessage, int iStatus)
{
    fputs(strMessage, stderr);
    exit(iStatus);
}

// The whole file and a NUL, for the caller to free.
char *readWhole(FILE *pFile)
{
    if (fseek(pFile, 0, SEEK_END) != 0)
        fail("Reading error", 3);
    const long iSize = ftell(pFile);
    rewind(pFile);
    char *const strText = iSize < 0 ? nullptr : static_cast<char *>(malloc(static_cast<size_t>(iSize) + 1));
    if (!strText)
        fail("Memory error", 2);
    if (fread(strText, 1, static_cast<size_t>(iSize), pFile) != static_cast<size_t>(iSize))
        fail("Reading error", 3);
    strText[iSize] = '\0';
    return strText;
}

} // namespace

void prepareProcess()
{
    // Whoever starts the daemon may have closed these; a socket must not take their place and get printed text.
    int iFile;
    do
        iFile = open("/dev/null", O_RDWR);
    while (iFile >= 0 && iFile <= STDERR_FILENO);
    if (iFile > STDERR_FILENO)
        close(iFile);

    // A supervisor's log shows lines as they happen, and no child repeats a buffered one.
    setvbuf(stdout, nullptr, _IOLBF, 0);

    // A log reader that has gone away must not end the daemon. A handler, unlike SIG_IGN, is not inherited by tools.
    signal(SIGPIPE, [](int) {});
}

void logBuild()
{
    sysDebug("%s %s\n", __DATE__, __TIME__);
}

void logByteOrder()
{
    constexpr uint8_t ucBuffer[4] = {1, 2, 3, 4};
    uint32_t uValue;
    memcpy(&uValue, ucBuffer, sizeof uValue);
    sysDebug("This a %s endian system.\n", std::endian::native == std::endian::big ? "big" : "little");
    sysDebug("buf= 01 02 03 04, value=%08x\n", uValue);
    uValue = __builtin_bswap32(uValue);
    sysDebug("value(be32toh)=%08x\n", uValue);
    uValue = __builtin_bswap32(uValue);
    sysDebug("value(le32toh)=%08x\n", uValue);
}

void waitForDeviceManager()
{
    struct stat status;
    while (stat("/var/run/vxman.pid", &status) != 0)
        sleep(1);
}

void restoreSavedAddress()
{
    FILE *const pFile = fopen(SAVED_ADDRESS, "re");
    if (!pFile)
        return;
    char *const strText = readWhole(pFile);
    char strFields[3][32] = {};
    char *pRest = nullptr;
    char *pField = strtok_r(strText, ",", &pRest);
    for (size_t i = 0; pField && i < 3; i++, pField = strtok_r(nullptr, ",", &pRest))
        copyText(strFields[i], pField);

    LSQLdbSetStr("management", "static-ip", strFields[0]);
    LSQLdbSetStr("management", "static-mask", strFields[1]);
    LSQLdbSetStr("static-ip-route", "gateway", strFields[2]);
    LSQLdbSetStr("management", "dhcp-status", "down");
    free(strText);
    fclose(pFile);
    if (system("rm -rf /etc/reserved_IP") != 0)
        return; // it will be restored once more at the next start
}
