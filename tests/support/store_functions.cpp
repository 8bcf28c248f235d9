// SPDX-License-Identifier: Apache-2.0
#include "tests/support/store_functions.h"

#include "lsqlquery/lsqlquery.h"

#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

constinit thread_local int t_iRecords = 0;

namespace
{

pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER; // of the store

// On the heap, as if memory were endless.
char *keyOf(const char *object, const char *instance, const char *field, const char *qfield, const char *qvalue)
{
    char *strKey = nullptr;
    if (asprintf(&strKey, "%s%s%s %s%s%s%s%s", object, instance ? "/" : "", instance ? instance : "", field,
                 qfield ? " " : "", qfield ? qfield : "", qfield ? "=" : "", qfield ? qvalue : "") < 0)
        abort();
    return strKey;
}

} // namespace

lsqlquery_pv *lsqlquery_new_pv_solo(const char *field, const char *value)
{
    t_iRecords++;
    return new (malloc(sizeof(lsqlquery_pv))) lsqlquery_pv{strdup(field), strdup(value)};
}

void lsqlquery_destroy_pv(lsqlquery_pv *pv)
{
    if (!pv)
        return;
    t_iRecords--;
    free(pv->field);
    free(pv->value);
    free(pv);
}

lsqlquery_pv *lsqlquery_get_pv(const char *object, const char *instance, const char *field)
{
    return lsqlquery_get_pv_q1(object, instance, field, nullptr, nullptr);
}

lsqlquery_pv *lsqlquery_get_pv_q1(const char *object, const char *instance, const char *field, const char *qfield,
                                  const char *qvalue)
{
    char *const strKey = keyOf(object, instance, field, qfield, qvalue);
    pthread_mutex_lock(&s_lock);
    const char *const strValue = readStore(strKey);
    lsqlquery_pv *const pResult = strValue ? lsqlquery_new_pv_solo(field, strValue) : nullptr;
    pthread_mutex_unlock(&s_lock);
    free(strKey);
    return pResult;
}

int lsqlquery_set_pv_with_error(const char *object, const char *instance, lsqlquery_pv *pv, lsqlquery_pv *qualifier,
                                char **error)
{
    char *const strKey = keyOf(object, instance, pv->field, qualifier ? qualifier->field : nullptr,
                               qualifier ? qualifier->value : nullptr);
    pthread_mutex_lock(&s_lock);
    const char *const strError = writeStore(strKey, pv->value);
    if (strError)
        *error = strdup(strError);
    pthread_mutex_unlock(&s_lock);
    free(strKey);
    return strError ? 7 : 0;
}
