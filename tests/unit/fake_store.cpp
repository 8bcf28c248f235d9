// SPDX-License-Identifier: Apache-2.0
#include "fake_store.h"

#include "lsqlquery/lsqlquery.h"

#include <cstdlib>
#include <cstring>

FakeStore g_fakeStore;

namespace
{

std::string keyOf(const char *object, const char *instance, const char *field, const char *qfield, const char *qvalue)
{
    return object + (instance ? std::string("/") + instance : "") + " " + field +
           (qfield ? std::string(" ") + qfield + "=" + qvalue : "");
}

} // namespace

lsqlquery_pv *lsqlquery_new_pv_solo(const char *field, const char *value)
{
    g_fakeStore.records++;
    return new lsqlquery_pv{strdup(field), strdup(value)};
}

void lsqlquery_destroy_pv(lsqlquery_pv *pv)
{
    if (!pv)
        return;
    g_fakeStore.records--;
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
    const std::string key = keyOf(object, instance, field, qfield, qvalue);
    g_fakeStore.log += "get " + key + "; ";
    const auto found = g_fakeStore.values.find(key);
    return found == g_fakeStore.values.end() ? nullptr : lsqlquery_new_pv_solo(field, found->second.c_str());
}

int lsqlquery_set_pv_with_error(const char *object, const char *instance, lsqlquery_pv *pv, lsqlquery_pv *qualifier,
                                char **error)
{
    const std::string key = keyOf(object, instance, pv->field, qualifier ? qualifier->field : nullptr,
                                  qualifier ? qualifier->value : nullptr);
    g_fakeStore.log += "set " + key + "=" + pv->value + "; ";
    if (!g_fakeStore.error.empty()) {
        *error = strdup(g_fakeStore.error.c_str());
        return 7;
    }
    g_fakeStore.values[key] = pv->value;
    return 0;
}
