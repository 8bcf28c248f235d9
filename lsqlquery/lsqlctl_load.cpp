// SPDX-License-Identifier: Apache-2.0
//
// lsqlctl load: a dump, or what a person made of it, into the store in one transaction.
#include "lsqlquery/field_text.h"
#include "lsqlquery/lsqlctl.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

namespace
{

struct File {
    const char *name;
    char *text; // NUL-terminated
    size_t size;
};

// The fields, and the line on which each stands.
struct Fields {
    lsqlstore_field *fields;
    size_t *lines;
    size_t count;
    size_t room;
};

int complainOfLine(const File &file, size_t line, const char *problem)
{
    fprintf(stderr, "lsqlctl: %s:%zu: %s\nlsqlctl: nothing was loaded\n", file.name, line, problem);
    return EXIT_FAILED;
}

template <class Item>
bool grow(Item *&items, size_t count)
{
    size_t size; // uClibc has no reallocarray
    void *const grown = __builtin_mul_overflow(count, sizeof(Item), &size) ? nullptr : realloc(items, size);
    if (grown)
        items = static_cast<Item *>(grown);
    return grown;
}

int readStream(FILE *in, File &file)
{
    size_t room = 0;
    for (;;) {
        if (file.size + 1 >= room && !grow(file.text, room = room ? 2 * room : 16384))
            return complainOf(file.name);
        const size_t read = fread(file.text + file.size, 1, room - file.size - 1, in);
        file.size += read;
        if (read == 0)
            break;
    }
    file.text[file.size] = 0;
    return ferror(in) ? complainOf(file.name) : static_cast<int>(EXIT_DONE);
}

int readFile(File &file)
{
    if (strcmp(file.name, "-") == 0) {
        file.name = "standard input";
        return readStream(stdin, file);
    }
    FILE *const in = fopen(file.name, "re");
    if (!in)
        return complainOf(file.name);
    const int code = readStream(in, file);
    fclose(in);
    return code;
}

int addField(const File &file, size_t line, const lsqlstore_field &field, Fields &all)
{
    if (all.count == all.room) {
        all.room = all.room ? 2 * all.room : 128;
        if (!grow(all.fields, all.room) || !grow(all.lines, all.room))
            return complainOf(file.name);
    }
    all.fields[all.count] = field;
    all.lines[all.count++] = line;
    return EXIT_DONE;
}

int parseFile(const File &file, Fields &all)
{
    char *const end = file.text + file.size;
    char *next;
    size_t line = 1;
    for (char *at = file.text; at < end; at = next + 1, line++) {
        next = static_cast<char *>(memchr(at, '\n', static_cast<size_t>(end - at)));
        if (!next)
            next = end;
        if (memchr(at, 0, static_cast<size_t>(next - at)))
            return complainOfLine(file, line, "a NUL byte: this is not a dump");
        *next = 0;
        lsqlstore_field field;
        if (const char *const problem = parseField(at, field))
            return complainOfLine(file, line, problem);
        if (field.object)
            if (const int code = addField(file, line, field, all))
                return code;
    }
    return EXIT_DONE;
}

int store(const File &file, const Fields &all, unsigned flags)
{
    size_t at;
    if (lsqlstore_write(all.fields, all.count, LSQLSTORE_EXACT | flags, &at, nullptr) == LSQLSTORE_OK)
        return EXIT_DONE;
    if (at == all.count)
        return complain();
    const char *text;
    lsqlstore_last_error(&text);
    return complainOfLine(file, all.lines[at], text);
}

} // namespace

int runLoad(int argc, char **argv)
{
    const bool isReplacing = strcmp(argv[0], "--replace") == 0;
    if (isReplacing != (argc == 2)) {
        fputs("lsqlctl: usage: lsqlctl load [--replace] FILE\n", stderr);
        return EXIT_USAGE;
    }
    File file = {argv[argc - 1], nullptr, 0};
    Fields all = {};
    int code = readFile(file);
    if (code == EXIT_DONE)
        code = parseFile(file, all);
    if (code == EXIT_DONE)
        code = store(file, all, isReplacing ? LSQLSTORE_REPLACE : 0);
    free(all.lines);
    free(all.fields);
    free(file.text);
    return code;
}
