// SPDX-License-Identifier: Apache-2.0
#include "tests/support/memory_store.h"

#include "lsqlquery/lsqlquery.h"

#include <cstdlib>
#include <cstring>
#include <mutex>

FakeStore g_fakeStore;
thread_local int t_iRecords = 0;

namespace
{

std::mutex s_lock;

std::string keyOf(const char *object, const char *instance, const char *field, const char *qfield, const char *qvalue)
{
    return object + (instance ? std::string("/") + instance : "") + " " + field +
           (qfield ? std::string(" ") + qfield + "=" + qvalue : "");
}

} // namespace

lsqlquery_pv *lsqlquery_new_pv_solo(const char *field, const char *value)
{
    t_iRecords++;
    return new lsqlquery_pv{strdup(field), strdup(value)};
}

void lsqlquery_destroy_pv(lsqlquery_pv *pv)
{
    if (!pv)
        return;
    t_iRecords--;
    free(pv->field);
    free(pv->value);
    delete pv;
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
    onStoreAccess(false, strKey, "");
    const auto found = g_fakeStore.values.find(strKey);
    return found == g_fakeStore.values.end() ? nullptr : lsqlquery_new_pv_solo(field, found->second.c_str());
}

int lsqlquery_set_pv_with_error(const char *object, const char *instance, lsqlquery_pv *pv, lsqlquery_pv *qualifier,
                                char **error)
{
    const std::string strKey = keyOf(object, instance, pv->field, qualifier ? qualifier->field : nullptr,
                                     qualifier ? qualifier->value : nullptr);
    const std::lock_guard guard(s_lock);
    onStoreAccess(true, strKey, pv->value);
    if (g_fakeStore.error.empty()) {
        g_fakeStore.values[strKey] = pv->value;
        return 0;
    }
    *error = strdup(g_fakeStore.error.c_str());
    return 7;
}
