// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_LIB_NUMBERS_H
#define VXP_LIB_NUMBERS_H

#include <cstddef>
#include <cstdint>
#include <span>

// The whole of strText as a 64-bit number, base 16 after a lower-case "0x", else base 10. On failure 0 with errno
// set: EINVAL for a null text or one that goes on after the number (each also printed on standard output), ERANGE for
// a number that does not fit. errno is 0 on success.
uint64_t str2ull(const char *strText);
int64_t str2ll(const char *strText);

// The number at the head of strText as atoi reads it, with the limits of a 32-bit machine on every machine: 0 when
// there is none, INT_MAX or INT_MIN when it does not fit.
int leadingInt(const char *strText);

// Read octets from text such as "192.168.0.50" (base 10) or "00:1f:a4:..." (base 16), separated by chSeparator, at
// most uWidth characters each, as scanf's %u and %2x do: white space and a sign may stand before each number, "010" is
// 10 in base 10, and of each number the low 8 bits count ("300" is 44; one beyond 32 bits gives 255). Octets that the
// text leaves out, and all from the first malformed one on, are 0. It stands in for sscanf, which alone would cost a
// neighbour reply a tenth of its time.
void scanOctets(const char *strText, char chSeparator, unsigned uBase, size_t uWidth, std::span<uint8_t> out);

#endif
