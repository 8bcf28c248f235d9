// SPDX-License-Identifier: Apache-2.0
#include "lib/numbers.h"

#include <algorithm>
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
        printf("%s: input string, %s, is invalid\n", strName, strText);
        if constexpr (std::is_signed_v<Number>)
            printf("%s: %s\n", strName, pEnd);
        errno = EINVAL;
        return 0;
    }
    errno = 0;
    return value;
}

// 16 or more for what is no digit.
unsigned digitValue(char ch)
{
    const auto uDecimal = static_cast<unsigned>(ch - '0');
    if (uDecimal < 10)
        return uDecimal;
    const auto uLetter = static_cast<unsigned>((ch | 0x20) - 'a');
    return uLetter < 6 ? uLetter + 10 : 16;
}

// White space as isspace has it in the C locale.
bool isBlank(char ch)
{
    return ch == ' ' || (ch >= '\t' && ch <= '\r');
}

// One number of at most uWidth characters, sign included, and the place after it; null when there is none.
const char *scanNumber(const char *pText, unsigned uBase, size_t uWidth, uint32_t *puValue)
{
    while (isBlank(*pText))
        pText++;
    const bool bNegative = *pText == '-';
    if (*pText == '-' || *pText == '+') {
        pText++;
        uWidth--;
    }
    const char *const pDigits = pText;
    uint64_t uValue = 0;
    for (unsigned uDigit; uWidth > 0 && (uDigit = digitValue(*pText)) < uBase; pText++, uWidth--)
        if (uValue <= UINT32_MAX)
            uValue = uValue * uBase + uDigit;
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

void scanOctets(const char *strText, char chSeparator, unsigned uBase, size_t uWidth, std::span<uint8_t> out)
{
    memset(out.data(), 0, out.size());
    for (size_t i = 0; i < out.size(); i++) {
        uint32_t uValue;
        strText = scanNumber(strText, uBase, uWidth, &uValue);
        if (!strText)
            return;
        out[i] = static_cast<uint8_t>(uValue);
        if (*strText++ != chSeparator)
            return;
    }
}
