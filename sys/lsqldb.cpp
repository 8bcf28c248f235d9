// SPDX-License-Identifier: Apache-2.0
#include "sys/lsqldb.h"

#include "lib/strings.h"
#include "lsqlquery/lsqlquery.h"

#include <cstdio>
#include <cstdlib>

namespace
{

int takeValue(lsqlquery_pv *pRecord, std::span<char> dst)
{
    if (pRecord && pRecord->value)
        copyText(dst, pRecord->value);
    lsqlquery_destroy_pv(pRecord);
    return 1;
}

// Write pField, release it and pQualifier, which may be null.
int writeRecord(const char *strObject, const char *strInstance, lsqlquery_pv *pField, lsqlquery_pv *pQualifier)
{
    char *strError = nullptr;
    const int iResult = lsqlquery_set_pv_with_error(strObject, strInstance, pField, pQualifier, &strError);
    if (iResult != 0)
        printf("Error occurred on set: %s\n", strError ? strError : "");
    free(strError);
    lsqlquery_destroy_pv(pField);
    lsqlquery_destroy_pv(pQualifier);
    return iResult;
}

} // namespace

int LSQLdbGetStr(const char *strObject, const char *strField, std::span<char> dst)
{
    return takeValue(lsqlquery_get_pv(strObject, nullptr, strField), dst);
}

int LSQLdbGetInstanceStr(const char *strObject, const char *strInstance, const char *strField, std::span<char> dst)
{
    return takeValue(lsqlquery_get_pv(strObject, strInstance, strField), dst);
}

int LSQLdbGetInstanceStrQ1(const char *strObject, const char *strInstance, const char *strField,
                           const char *strQualifierField, const char *strQualifierValue, std::span<char> dst)
{
    return takeValue(lsqlquery_get_pv_q1(strObject, strInstance, strField, strQualifierField, strQualifierValue), dst);
}

int LSQLdbSetStr(const char *strObject, const char *strField, const char *strValue)
{
    return LSQLdbSetInstanceStr(strObject, nullptr, strField, strValue);
}

int LSQLdbSetInstanceStr(const char *strObject, const char *strInstance, const char *strField, const char *strValue)
{
    return writeRecord(strObject, strInstance, lsqlquery_new_pv_solo(strField, strValue), nullptr);
}

int LSQLdbSetInstanceStrQ1(const char *strObject, const char *strInstance, const char *strField,
                           const char *strQualifierField, const char *strQualifierValue, const char *strValue)
{
    lsqlquery_pv *const pField = lsqlquery_new_pv_solo(strField, strValue);
    return writeRecord(strObject, strInstance, pField, lsqlquery_new_pv_solo(strQualifierField, strQualifierValue));
}

int LSQLdbFactoryReset()
{
    return LSQLdbSetStr("system", "factory-reset", "yes");
}

int LSQLdbReboot()
{
    return LSQLdbSetStr("system", "reboot", "yes");
}

int LSQLdbSaveRunning()
{
    return LSQLdbSetStr("config", "startup", "running");
}
