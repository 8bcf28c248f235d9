/* SPDX-License-Identifier: Apache-2.0 */
#ifndef LSQLQUERY_H
#define LSQLQUERY_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct lsqlquery_pv {
    char *field;
    char *value;
} lsqlquery_pv;

lsqlquery_pv *lsqlquery_get_pv(const char *object, const char *instance, const char *field);
lsqlquery_pv *lsqlquery_get_pv_q1(const char *object, const char *instance, const char *field,
                                  const char *qualifier_field, const char *qualifier_value);
lsqlquery_pv *lsqlquery_new_pv_solo(const char *field, const char *value);
int lsqlquery_set_pv_with_error(const char *object, const char *instance, lsqlquery_pv *pv, lsqlquery_pv *qualifier,
                                char **error);
void lsqlquery_destroy_pv(lsqlquery_pv *pv);

#ifdef __cplusplus
}
#endif

#endif
