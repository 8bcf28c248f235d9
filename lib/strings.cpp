// SPDX-License-Identifier: Apache-2.0
#include "lib/strings.h"

#include <openssl/crypto.h>

#include <cstdarg>
#include <cstdio>

namespace
{

constexpr char WHITE_SPACE[] = " \t\r\n";
constexpr char SHELL_SPECIAL[] = "$\"`\\";

bool isIn(const char *strSet, char ch)
{
    return ch && strchr(strSet, ch);
}

} // namespace

char *strltrim(char *strText, const char *strSet)
{
    return strText ? strText + strspn(strText, strSet ? strSet : WHITE_SPACE) : nullptr;
}

char *strrtrim(char *strText, const char *strSet)
{
    if (!strText)
        return nullptr;
    if (!strSet)
        strSet = WHITE_SPACE;
    for (size_t uLen = strlen(strText); uLen > 0 && isIn(strSet, strText[uLen - 1]); uLen--)
        strText[uLen - 1] = '\0';
    return strText;
}

char *strtrim(char *strText, const char *strSet)
{
    return strltrim(strrtrim(strText, strSet), strSet);
}

char *str_insert_back_slash(const char *strText, const char *strSet)
{
    static char s_strResults[4][4096];
    static unsigned s_uNext = 0;
    char(&strResult)[4096] = s_strResults[s_uNext++ % 4];

    if (!strSet)
        strSet = SHELL_SPECIAL;
    char *pOut = strResult;
    const char *const pLast = strResult + sizeof strResult - 1;
    for (; *strText; strText++) {
        const bool bEscape = isIn(strSet, *strText);
        if (pOut + 1 + bEscape > pLast)
            break;
        if (bEscape)
            *pOut++ = '\\';
        *pOut++ = *strText;
    }
    *pOut = '\0';
    return strResult;
}

char *strsep_ex(char **ppText, const char *strSet)
{
    char *strWord;
    do
        strWord = strsep(ppText, strSet ? strSet : WHITE_SPACE);
    while (strWord && !*strWord);
    return strWord;
}

void copyText(std::span<char> dst, const char *strText)
{
    if (dst.empty())
        return;
    const size_t uLen = strnlen(strText, dst.size() - 1);
    memcpy(dst.data(), strText, uLen);
    dst[uLen] = '\0';
}

void formatText(std::span<char> dst, const char *strFormat, ...)
{
    va_list args;
    va_start(args, strFormat);
    vsnprintf(dst.data(), dst.size(), strFormat, args);
    va_end(args);
}

// Not explicit_bzero, which uClibc does not have.
void wipe(std::span<char> secret)
{
    OPENSSL_cleanse(secret.data(), secret.size());
}
