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
#include "tests/support/memory_store.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace
{

std::map<std::string, int> s_reads;

void note(const std::string &strWhat)
{
    const std::string strLine = strWhat + "\n";
    const int iFile =
        open(getpid() == gettid() ? "/tmp/effects" : "/tmp/worker", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (write(iFile, strLine.data(), strLine.size()) != static_cast<ssize_t>(strLine.size()))
        abort();
    close(iFile);
}

// Look for a new content.
void refresh()
{
    if (rename("/etc/recorded_store.new", "/etc/recorded_store") != 0)
        return;
    g_fakeStore = {};
    s_reads.clear();
    std::ifstream file("/etc/recorded_store");
    for (std::string strKey, strValue; std::getline(file, strKey, '\t') && std::getline(file, strValue);)
        (strKey == "@fail" ? g_fakeStore.error : g_fakeStore.values[strKey]) = strValue;
}

bool isNoted(const std::string &strKey)
{
    const auto &values = g_fakeStore.values;
    for (auto i = values.lower_bound("@reads"); i != values.end() && i->first.starts_with("@reads"); ++i)
        if (strKey.starts_with(i->second))
            return true;
    return false;
}

template <typename Function>
Function *next(const char *strName)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, strName));
}

} // namespace

void onStoreAccess(bool bWrite, const std::string &strKey, const std::string &strWritten)
{
    refresh();
    if (bWrite)
        note("set " + strKey + "=" + strWritten);
    else if (isNoted(strKey))
        note("get " + strKey);
    if (bWrite || !g_fakeStore.values.contains(strKey))
        return;
    const auto change = g_fakeStore.values.find("@read " + std::to_string(++s_reads[strKey]) + " " + strKey);
    if (change != g_fakeStore.values.end())
        g_fakeStore.values[strKey] = change->second;
}

// The loader looks here before it looks into the C library.
extern "C" {

ssize_t sendto(int iFile, const void *pData, size_t uSize, int iFlags, const sockaddr *pTo, socklen_t uToSize)
{
    sockaddr_in address;
    memcpy(&address, pTo, sizeof address);
    if (ntohs(address.sin_port) == 62992)
        note("reply " + std::to_string(uSize) + (t_iRecords ? ", " + std::to_string(t_iRecords) + " records out" : ""));
    return syscall(SYS_sendto, iFile, pData, uSize, iFlags, pTo, uToSize);
}

int system(const char *strCommand)
{
    note(std::filesystem::current_path().string() + "$ " + strCommand);
    return next<int(const char *)>("system")(strCommand);
}

unsigned sleep(unsigned uSeconds)
{
    note("sleep " + std::to_string(uSeconds));
    return next<unsigned(unsigned)>("sleep")(uSeconds);
}
}
