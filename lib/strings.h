// SPDX-License-Identifier: Apache-2.0
//
// Text helpers. A null character set stands for the helper's default set.
#ifndef VXP_LIB_STRINGS_H
#define VXP_LIB_STRINGS_H

#include <cstddef>
#include <cstring>
#include <span>

// The first character of strText that is not in strSet (default " \t\r\n"); strText itself when null or empty.
char *strltrim(char *strText, const char *strSet);

// strText with the trailing characters that are in strSet (default " \t\n\r") overwritten by NUL, in place.
char *strrtrim(char *strText, const char *strSet);

char *strtrim(char *strText, const char *strSet);

// A copy of strText with a back-slash before every character of strSet (default: $ " ` and the back-slash). The copy
// stands in one of four static buffers of 4096 bytes used in rotation, so it is valid until four further calls; it is
// cut there, never in the middle of an escape. Not for use from two threads.
char *str_insert_back_slash(const char *strText, const char *strSet);

// The next word of *ppText, which it moves behind it, as strsep does but without empty words; null at the end. Words
// are separated by characters of strSet (default " \t\n\r").
char *strsep_ex(char **ppText, const char *strSet);

// Copy strText into dst, cut so that a NUL always fits. An empty dst stays as it is.
void copyText(std::span<char> dst, const char *strText);

// printf into dst, cut so that a NUL always fits.
void formatText(std::span<char> dst, const char *strFormat, ...) __attribute__((format(printf, 2, 3)));

// Overwrite what is secret, which no optimiser drops.
void wipe(std::span<char> secret);

// The text of a fixed-width field, which has no NUL of its own when it fills the field.
template <size_t N>
struct FieldText {
    char str[N + 1];

    explicit FieldText(const char (&strField)[N])
    {
        memcpy(str, strField, N);
        str[N] = '\0';
    }
};

#endif
