// SPDX-License-Identifier: Apache-2.0
//
// Text that came from the network: any byte may be in it, so it passes through here before anyone sees it.
#ifndef VXP_CLIENT_TEXT_H
#define VXP_CLIENT_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vxpctl
{

// The text of a fixed-width field: up to its first NUL, or all of it when it has none. No byte is changed.
template <std::size_t size>
std::string_view fieldText(const char (&field)[size])
{
    const std::string_view whole(field, size);
    return whole.substr(0, whole.find('\0'));
}

// Valid UTF-8 whatever the bytes are: each byte that is not part of a well-formed character (RFC 3629) becomes the
// four characters \xNN; characters, control characters among them, stay.
std::string validUtf8(std::string_view bytes);

// Text that a terminal only draws: as validUtf8, and control characters, bidirectional overrides, invisible and
// unassigned characters become \xNN, \uNNNN or \UNNNNNNNN. Applying it twice changes nothing more.
std::string printable(std::string_view bytes);

// "a, b, c"
std::string joined(const std::vector<std::string> &texts);

// Terminal columns that printable text takes: 0 for a combining mark, 2 for a wide character (wcwidth(3)).
std::size_t displayWidth(std::string_view printableText);

// Whether this host has the character data that wide and combining characters need; without, each takes one column.
bool knowsCharacterWidths();

} // namespace vxpctl

#endif
