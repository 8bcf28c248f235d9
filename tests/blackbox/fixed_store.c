/* SPDX-License-Identifier: Apache-2.0 */
/* A store that holds two settings and takes none, as a stand-in for another implementation of the library. */
#include "lsqlquery/lsqlquery.h"

#include <stdlib.h>
#include <string.h>

lsqlquery_pv *lsqlquery_new_pv_solo(const char *field, const char *value)
{
    lsqlquery_pv *pv = malloc(sizeof *pv);
    if (!pv)
        abort();
    pv->field = strdup(field);
    pv->value = strdup(value);
    return pv;
}

lsqlquery_pv *lsqlquery_get_pv(const char *object, const char *instance, const char *field)
{
    if (!instance && !strcmp(object, "management") && !strcmp(field, "interface"))
        return lsqlquery_new_pv_solo(field, "brtrunk");
    if (!instance && !strcmp(object, "system") && !strcmp(field, "system-name"))
        return lsqlquery_new_pv_solo(field, "another store");
    return NULL;
}

lsqlquery_pv *lsqlquery_get_pv_q1(const char *object, const char *instance, const char *field,
                                  const char *qualifier_field, const char *qualifier_value)
{
    (void)qualifier_field;
    (void)qualifier_value;
    return lsqlquery_get_pv(object, instance, field);
}

int lsqlquery_set_pv_with_error(const char *object, const char *instance, lsqlquery_pv *pv, lsqlquery_pv *qualifier,
                                char **error)
{
    (void)object;
    (void)instance;
    (void)pv;
    (void)qualifier;
    *error = strdup("this store is fixed");
    return 1;
}

void lsqlquery_destroy_pv(lsqlquery_pv *pv)
{
    if (!pv)
        return;
    free(pv->field);
    free(pv->value);
    free(pv);
}
