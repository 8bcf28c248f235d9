// SPDX-License-Identifier: Apache-2.0
#include "client/text.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cwchar>

namespace vxpctl
{
namespace
{

struct Character {
    char32_t value;
    std::size_t length; // bytes; 0 when the first byte does not begin a well-formed character
};

// The first character of text, which is not empty.
Character firstCharacter(std::string_view text)
{
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80)
        return {lead, 1};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
        return {0, 0};
    char32_t value = lead & (0x7FU >> length);
    for (const char raw : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(raw);
        if ((byte & 0xC0) != 0x80)
            return {0, 0};
        value = value << 6 | (byte & 0x3FU);
    }
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000}; // by length: longer forms of a character are invalid
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < smallest[length] || value > 0x10FFFF || surrogate)
        return {0, 0};
    return {value, length};
}

// Control, format, line-breaking and blank-looking characters (Unicode categories Cc, Cf, Zl, Zp and the fillers):
// what moves the cursor, reorders the line, or makes two names look alike. Variation selectors draw nothing of their
// own and belong to ordinary emoji, so they stay.
bool isDeceptive(char32_t value)
{
    struct Range {
        char32_t first, last;
    };
    static constexpr std::array<Range, 25> ranges{{
        {0x0000, 0x001F},   {0x007F, 0x009F},   {0x00AD, 0x00AD},   {0x034F, 0x034F},   {0x0600, 0x0605},
        {0x061C, 0x061C},   {0x06DD, 0x06DD},   {0x070F, 0x070F},   {0x08E2, 0x08E2},   {0x115F, 0x1160},
        {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x200B, 0x200F},   {0x2028, 0x202E},   {0x2060, 0x206F},
        {0x3164, 0x3164},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},   {0xFFF0, 0xFFFB},   {0x110BD, 0x110BD},
        {0x110CD, 0x110CD}, {0x13430, 0x1345F}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF},
    }};
    return std::any_of(ranges.begin(), ranges.end(),
                       [value](const Range &range) { return value >= range.first && value <= range.last; });
}

locale_t characterData()
{
    static const locale_t data = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return data;
}

// Terminal columns; negative for a character that cannot be drawn.
int columns(char32_t value)
{
    if (value < 0x80 || !knowsCharacterWidths())
        return 1;
    const locale_t previous = uselocale(characterData());
    const int result = wcwidth(static_cast<wchar_t>(value));
    uselocale(previous);
    return result;
}

void appendEscape(std::string &out, const char *format, char32_t value)
{
    char escape[16];
    snprintf(escape, sizeof escape, format, static_cast<unsigned>(value));
    out += escape;
}

template <typename Escaped>
std::string rewrite(std::string_view bytes, Escaped escaped)
{
    std::string out;
    while (!bytes.empty()) {
        const Character next = firstCharacter(bytes);
        const std::size_t length = next.length ? next.length : 1;
        if (!next.length)
            appendEscape(out, "\\x%02x", static_cast<unsigned char>(bytes[0]));
        else if (escaped(next.value))
            appendEscape(out, next.value < 0x80 ? "\\x%02x" : next.value < 0x10000 ? "\\u%04x" : "\\U%08x", next.value);
        else
            out += bytes.substr(0, length);
        bytes.remove_prefix(length);
    }
    return out;
}

} // namespace

std::string validUtf8(std::string_view bytes)
{
    return rewrite(bytes, [](char32_t) { return false; });
}

std::string printable(std::string_view bytes)
{
    return rewrite(bytes, [](char32_t value) { return isDeceptive(value) || columns(value) < 0; });
}

std::string joined(const std::vector<std::string> &texts)
{
    std::string out;
    for (const std::string &text : texts)
        out += (out.empty() ? "" : ", ") + text;
    return out;
}

std::size_t displayWidth(std::string_view printableText)
{
    std::size_t width = 0;
    while (!printableText.empty()) {
        const Character next = firstCharacter(printableText);
        width += static_cast<std::size_t>(std::max(0, next.length ? columns(next.value) : 1));
        printableText.remove_prefix(std::max<std::size_t>(next.length, 1));
    }
    return width;
}

bool knowsCharacterWidths()
{
    return characterData() != nullptr;
}

} // namespace vxpctl
