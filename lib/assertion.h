// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_LIB_ASSERTION_H
#define VXP_LIB_ASSERTION_H

// Abort the process unless bHolds, in every build type: a failure is a programming error, never a runtime condition.
// strExpression and strSource are fixed texts that people search logs for; line and function are the caller's.
void assertThat(bool bHolds, const char *strExpression, const char *strSource,
                const char *strFunction = __builtin_FUNCTION(), int iLine = __builtin_LINE());

#endif
