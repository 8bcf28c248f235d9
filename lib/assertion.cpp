// SPDX-License-Identifier: Apache-2.0
#include "lib/assertion.h"

#include <cstdio>
#include <cstdlib>

void assertThat(bool bHolds, const char *strExpression, const char *strSource, const char *strFunction, int iLine)
{
    if (bHolds)
        return;
    fprintf(stderr, "%s:%d: %s: Assertion \"%s\" failed.\n", strSource, iLine, strFunction, strExpression);
    abort();
}
