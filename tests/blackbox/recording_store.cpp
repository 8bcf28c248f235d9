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
#include "lsqlquery/lsqlquery.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

namespace
{

struct Field {
    std::string strValue;
    int iReads = 0;
};

std::mutex s_lock; // of the fields
std::map<std::string, Field> s_fields;
thread_local int s_iRecords = 0; // made and not yet released

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
    s_fields.clear();
    std::ifstream file("/etc/recorded_store");
    for (std::string strKey, strValue; std::getline(file, strKey, '\t') && std::getline(file, strValue);)
        s_fields[strKey] = {strValue};
}

bool isNoted(const std::string &strKey)
{
    for (auto i = s_fields.lower_bound("@reads"); i != s_fields.end() && i->first.starts_with("@reads"); ++i)
        if (strKey.starts_with(i->second.strValue))
            return true;
    return false;
}

std::string keyOf(const char *object, const char *instance, const char *field, const char *qfield, const char *qvalue)
{
    return std::string(object) + (instance ? std::string("/") + instance : "") + " " + field +
           (qfield ? std::string(" ") + qfield + "=" + qvalue : "");
}

template <typename Function>
Function *next(const char *strName)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, strName));
}

} // namespace

lsqlquery_pv *lsqlquery_new_pv_solo(const char *field, const char *value)
{
    s_iRecords++;
    return new lsqlquery_pv{strdup(field), strdup(value)};
}

lsqlquery_pv *lsqlquery_get_pv(const char *object, const char *instance, const char *field)
{
    return lsqlquery_get_pv_q1(object, instance, field, nullptr, nullptr);
}

lsqlquery_pv *lsqlquery_get_pv_q1(const char *object, const char *instance, const char *field, const char *qfield,
                                  const char *qvalue)
{
    const std::string strKey = keyOf(object, instance, field, qfield, qvalue);
    const std::lock_guard guard(s_lock);
    refresh();
    if (isNoted(strKey))
        note("get " + strKey);
    const auto found = s_fields.find(strKey);
    if (found == s_fields.end())
        return nullptr;
    const auto change = s_fields.find("@read " + std::to_string(++found->second.iReads) + " " + strKey);
    if (change != s_fields.end())
        found->second.strValue = change->second.strValue;
    return lsqlquery_new_pv_solo(field, found->second.strValue.c_str());
}

int lsqlquery_set_pv_with_error(const char *object, const char *instance, lsqlquery_pv *pv, lsqlquery_pv *qualifier,
                                char **error)
{
    const std::string strKey = keyOf(object, instance, pv->field, qualifier ? qualifier->field : nullptr,
                                     qualifier ? qualifier->value : nullptr);
    const std::lock_guard guard(s_lock);
    refresh();
    note("set " + strKey + "=" + pv->value);
    const auto failure = s_fields.find("@fail");
    if (failure == s_fields.end()) {
        s_fields[strKey].strValue = pv->value;
        return 0;
    }
    *error = strdup(failure->second.strValue.c_str());
    return 7;
}

void lsqlquery_destroy_pv(lsqlquery_pv *pv)
{
    if (!pv)
        return;
    s_iRecords--;
    free(pv->field);
    free(pv->value);
    delete pv;
}

// The loader looks here before it looks into the C library.
extern "C" {

ssize_t sendto(int iFile, const void *pData, size_t uSize, int iFlags, const sockaddr *pTo, socklen_t uToSize)
{
    sockaddr_in address;
    memcpy(&address, pTo, sizeof address);
    if (ntohs(address.sin_port) == 62992)
        note("reply " + std::to_string(uSize) + (s_iRecords ? ", " + std::to_string(s_iRecords) + " records out" : ""));
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
