// SPDX-License-Identifier: Apache-2.0
#include "req_func/config.h"

#include "sys/lsqldb.h"

#include <cstring>

void ConfigStatus::read()
{
    LSQLdbGetStr("config", "status", str);
}

bool ConfigStatus::is(const char *strStatus) const
{
    return strcmp(str, strStatus) == 0;
}

void setConfigStatus(const char *strStatus)
{
    LSQLdbSetStr("config", "status", strStatus);
}
