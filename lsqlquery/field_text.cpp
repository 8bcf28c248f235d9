// SPDX-License-Identifier: Apache-2.0
#include "lsqlquery/field_text.h"

#include <string.h>

namespace
{

bool isPrintable(unsigned char byte)
{
    return byte >= 0x20 && byte < 0x7f;
}

bool needsQuotes(const char *word)
{
    if (!*word || *word == '-')
        return true;
    for (; *word; word++)
        if (!isPrintable(static_cast<unsigned char>(*word)) || strchr(" \"\\#", *word))
            return true;
    return false;
}

bool isContinuation(unsigned char byte)
{
    return (byte & 0xc0) == 0x80;
}

// Bytes of the UTF-8 character at TEXT if it may stand in a dump: 2 to 4; 0 for ASCII, bytes that are not UTF-8, and
// the control characters U+0080 to U+009F. Overlong forms and surrogates are not UTF-8 (RFC 3629).
size_t utf8Length(const char *text)
{
    const auto *const at = reinterpret_cast<const unsigned char *>(text);
    if (at[0] < 0xc2 || at[0] > 0xf4 || !isContinuation(at[1]))
        return 0;
    if (at[0] < 0xe0)
        return at[0] == 0xc2 && at[1] < 0xa0 ? 0 : 2;
    if (!isContinuation(at[2]) || (at[0] == 0xe0 && at[1] < 0xa0) || (at[0] == 0xed && at[1] >= 0xa0))
        return 0;
    if (at[0] < 0xf0)
        return 3;
    if (!isContinuation(at[3]) || (at[0] == 0xf0 && at[1] < 0x90) || (at[0] == 0xf4 && at[1] >= 0x90))
        return 0;
    return 4;
}

void writeByte(FILE *out, unsigned char byte)
{
    switch (byte) {
    case '\n':
        fputs("\\n", out);
        break;
    case '\r':
        fputs("\\r", out);
        break;
    case '\t':
        fputs("\\t", out);
        break;
    case '"':
    case '\\':
        fputc('\\', out);
        fputc(byte, out);
        break;
    default:
        if (isPrintable(byte))
            fputc(byte, out);
        else
            fprintf(out, "\\x%02x", byte);
    }
}

void writeEscaped(FILE *out, const char *text)
{
    while (*text) {
        const size_t length = utf8Length(text);
        if (length)
            fwrite(text, 1, length, out);
        else
            writeByte(out, static_cast<unsigned char>(*text));
        text += length ? length : 1;
    }
}

// FIRST, or FIRST JOINT SECOND as one word.
void writeJoined(FILE *out, const char *first, char joint, const char *second)
{
    const bool isQuoted = needsQuotes(first) || (second && *second && needsQuotes(second));
    if (isQuoted)
        fputc('"', out);
    writeEscaped(out, first);
    if (second) {
        fputc(joint, out);
        writeEscaped(out, second);
    }
    if (isQuoted)
        fputc('"', out);
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r';
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Undo the escape behind the back-slash at AT, and move AT behind it. 0 if it is none.
char unescape(const char *&at)
{
    static constexpr char NAMES[] = "\\\"nrt";
    static constexpr char BYTES[] = "\\\"\n\r\t";
    const char name = at[1];
    if (name == 'x') {
        const int high = hexDigit(at[2]);
        const int low = high < 0 ? -1 : hexDigit(at[3]);
        at += low < 0 ? 0 : 4;
        return low < 0 ? '\0' : static_cast<char>(high << 4 | low);
    }
    const char *const found = name ? strchr(NAMES, name) : nullptr;
    at += found ? 2 : 0;
    return found ? BYTES[found - NAMES] : '\0';
}

// The word in quotes at AT, in place; AT moves behind the closing quote.
const char *cutQuoted(char *&at, char *&word)
{
    word = at;
    char *to = at;
    const char *from = at + 1;
    while (*from != '"') {
        if (!*from)
            return "the closing quote is missing";
        if (*from != '\\') {
            *to++ = *from++;
        } else if ((*to++ = unescape(from)) == 0) {
            return "unknown escape: \\\\ \\\" \\n \\r \\t and \\x01 to \\xff are known";
        }
    }
    at += from - at + 1;
    *to = 0;
    if (*at && !isBlank(*at))
        return "a blank is missing behind a closing quote";
    return nullptr;
}

const char *cutBare(char *&at, char *&word)
{
    word = at;
    for (; *at && !isBlank(*at); at++)
        if (*at == '"' || *at == '#')
            return "a quote or a '#' in the middle of a word: put the word in quotes";
    return nullptr;
}

// Cut at most four words off LINE.
const char *cutWords(char *line, char *(&words)[4], size_t &count)
{
    for (count = 0;;) {
        while (isBlank(*line))
            line++;
        if (!*line || *line == '#')
            return nullptr;
        if (count == 4)
            return "too many words: put a value with blanks in quotes";
        const char *const problem = *line == '"' ? cutQuoted(line, words[count]) : cutBare(line, words[count]);
        if (problem)
            return problem;
        count++;
        if (*line)
            *line++ = 0;
    }
}

} // namespace

void writeWord(FILE *out, const char *word)
{
    writeJoined(out, word, 0, nullptr);
}

void writeRow(FILE *out, const lsqlstore_field &field)
{
    writeJoined(out, field.object, '/', field.instance);
}

void writeQualifier(FILE *out, const lsqlstore_field &field)
{
    writeJoined(out, field.qualifier_field, '=', field.qualifier_value);
}

void writeName(FILE *out, const lsqlstore_field &field)
{
    writeRow(out, field);
    fputc(' ', out);
    writeWord(out, field.field);
    if (field.qualifier_field) {
        fputc(' ', out);
        writeQualifier(out, field);
    }
}

void writeField(FILE *out, const lsqlstore_field &field)
{
    writeName(out, field);
    fputs(" \"", out);
    writeEscaped(out, field.value);
    fputc('"', out);
}

void splitRow(char *word, lsqlstore_field &field)
{
    char *const slash = strchr(word, '/');
    field.object = word;
    field.instance = slash ? slash + 1 : nullptr;
    if (slash)
        *slash = 0;
}

bool splitQualifier(char *word, lsqlstore_field &field)
{
    char *const equals = strchr(word, '=');
    if (!equals)
        return false;
    *equals = 0;
    field.qualifier_field = word;
    field.qualifier_value = equals + 1;
    return true;
}

const char *parseField(char *line, lsqlstore_field &field)
{
    field = {};
    char *words[4];
    size_t count;
    if (const char *const problem = cutWords(line, words, count))
        return problem;
    if (count == 0)
        return nullptr;
    if (count < 3)
        return "too few words: a line is OBJECT[/INSTANCE] FIELD [QFIELD=QVALUE] \"VALUE\"";
    splitRow(words[0], field);
    field.field = words[1];
    field.value = words[count - 1];
    if (count == 4 && !splitQualifier(words[2], field))
        return "the third of four words is not QFIELD=QVALUE: put a value with blanks in quotes";
    return nullptr;
}
