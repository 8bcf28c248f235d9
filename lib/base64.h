// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_LIB_BASE64_H
#define VXP_LIB_BASE64_H

#include <span>

// Decode NUL-terminated base64 text (RFC 4648 section 4) into out, which is cleared first. Returns 0, also for invalid
// text, of which out then holds what could be decoded, possibly nothing; -1 when the text has 1023 characters or more
// or memory is short. out is NUL-terminated when fewer than out.size() bytes came out.
int base64_decode(std::span<char> out, const char *strText);

#endif
