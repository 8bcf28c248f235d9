// SPDX-License-Identifier: Apache-2.0
#include "lib/numbers.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace
{

// The conversions of str2ull and str2ll, which differ in the C library's function, their name and a line that only
// the signed one prints.
template <class Number>
Number wholeNumber(const char *strText, Number (*pConvert)(const char *, char **, int), const char *strName)
{
    if (!strText) {
        printf("%s: input string is NULL\n", strName);
        errno = EINVAL;
        return 0;
    }
    char *pEnd;
    errno = 0;
    const Number value = pConvert(strText, &pEnd, strncmp(strText, "0x", 2) == 0 ? 16 : 10);
    if (errno == ERANGE || (errno && value == 0)) {
        errno = ERANGE;
        return 0;
    }
    if (*pEnd) {
        printf("str2ull: input string, %s, is invalid\n", strText); // also under str2ll
        if constexpr (std::is_signed_v<Number>)
            printf("%s: %s\n", strName, pEnd);
        errno = EINVAL;
        return 0;
    }
    errno = 0;
    return value;
}

int digitValue(char ch)
{
    if (ch >= '0' && ch <= '9')
        return ch - '0';
    if (ch >= 'a' && ch <= 'f')
        return ch - 'a' + 10;
    if (ch >= 'A' && ch <= 'F')
        return ch - 'A' + 10;
    return 16;
}

// One number of at most uWidth characters, sign included, and the place after it; null when there is none.
const char *scanNumber(const char *pText, int iBase, size_t uWidth, uint32_t *puValue)
{
    while (isspace(static_cast<unsigned char>(*pText)))
        pText++;
    const char *const pEnd = pText + strnlen(pText, uWidth);
    const bool bNegative = *pText == '-';
    if (pText < pEnd && (*pText == '-' || *pText == '+'))
        pText++;

    const char *const pDigits = pText;
    uint64_t uValue = 0;
    for (; pText < pEnd && digitValue(*pText) < iBase; pText++)
        if (uValue <= UINT32_MAX)
            uValue = uValue * static_cast<unsigned>(iBase) + static_cast<unsigned>(digitValue(*pText));
    if (pText == pDigits)
        return nullptr;
    if (uValue > UINT32_MAX)
        *puValue = UINT32_MAX;
    else
        *puValue = static_cast<uint32_t>(bNegative ? -uValue : uValue);
    return pText;
}

} // namespace

uint64_t str2ull(const char *strText)
{
    return wholeNumber<unsigned long long>(strText, strtoull, "str2ull");
}

int64_t str2ll(const char *strText)
{
    return wholeNumber<long long>(strText, strtoll, "str2ll");
}

int leadingInt(const char *strText)
{
    return static_cast<int>(std::clamp<long long>(strtoll(strText, nullptr, 10), INT_MIN, INT_MAX));
}

void scanOctets(const char *strText, char chSeparator, int iBase, size_t uWidth, std::span<uint8_t> out)
{
    memset(out.data(), 0, out.size());
    for (size_t i = 0; i < out.size(); i++) {
        uint32_t uValue;
        strText = scanNumber(strText, iBase, uWidth, &uValue);
        if (!strText)
            return;
        out[i] = static_cast<uint8_t>(uValue);
        if (*strText++ != chSeparator)
            return;
    }
}
