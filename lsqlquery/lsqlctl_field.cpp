// SPDX-License-Identifier: Apache-2.0
//
// The commands about one field, and those that print.
#include "lsqlquery/field_text.h"
#include "lsqlquery/lsqlctl.h"
#include "lsqlquery/lsqlquery.h"

#include <poll.h>
#include <signal.h>
#include <string.h>

#include <initializer_list>

namespace
{

// OBJECT[/INSTANCE] FIELD [QFIELD=QVALUE]
bool readName(int argc, char **argv, lsqlstore_field &field)
{
    field = {};
    splitRow(argv[0], field);
    field.field = argv[1];
    if (argc < 3 || splitQualifier(argv[2], field))
        return true;
    fprintf(stderr, "lsqlctl: \"%s\" is not a qualifier: write QFIELD=QVALUE\n", argv[2]);
    return false;
}

int writeOne(const lsqlstore_field &field)
{
    return lsqlstore_write(&field, 1, 0, nullptr, nullptr) == LSQLSTORE_OK ? EXIT_DONE : complain();
}

int complainOfRead(const lsqlstore_field &field)
{
    if (lsqlstore_last_error(nullptr) != LSQLSTORE_NOT_FOUND)
        return complain();
    fputs("lsqlctl: there is no field ", stderr);
    writeName(stderr, field);
    fputs("; lsqlctl list shows what there is\n", stderr);
    return EXIT_NO_SUCH_FIELD;
}

int printField(const lsqlstore_field *field, void *)
{
    writeField(stdout, *field);
    putchar('\n');
    return ferror(stdout);
}

// The row that was printed last, as a copy: the walk's texts move on.
struct LastRow {
    char bytes[512]; // of the row's names, each with its NUL
    size_t size;
};

int printRow(const lsqlstore_field *field, void *context)
{
    LastRow &last = *static_cast<LastRow *>(context);
    LastRow row = {};
    for (const char *part : {field->object, field->instance, field->qualifier_field, field->qualifier_value}) {
        part = part ? part : "";
        memcpy(row.bytes + row.size, part, strlen(part) + 1); // fits: they are parts of a key of at most 511 bytes
        row.size += strlen(part) + 1;
    }
    if (row.size == last.size && memcmp(row.bytes, last.bytes, row.size) == 0)
        return 0;
    last = row;
    writeRow(stdout, *field);
    if (field->qualifier_field) {
        putchar(' ');
        writeQualifier(stdout, *field);
    }
    putchar('\n');
    return ferror(stdout);
}

int countField(const lsqlstore_field *, void *)
{
    return -1;
}

volatile sig_atomic_t g_isEnded;

void onEnd(int)
{
    g_isEnded = 1;
}

// SIGINT and SIGTERM end the watch; they are let in only while it waits, so that none is missed.
sigset_t catchEnd()
{
    struct sigaction action = {};
    action.sa_handler = onEnd;
    sigset_t blocked;
    sigset_t waiting;
    sigemptyset(&blocked);
    for (const int signal : {SIGINT, SIGTERM}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&blocked, signal);
    }
    sigprocmask(SIG_BLOCK, &blocked, &waiting);
    sigdelset(&waiting, SIGINT);
    sigdelset(&waiting, SIGTERM);
    return waiting;
}

// Print all that is new; false when the watch cannot go on.
bool printChanges(lsqlstore_watch *watch)
{
    lsqlstore_field change;
    int outcome;
    while ((outcome = lsqlstore_watch_next(watch, &change)) > LSQLSTORE_WATCH_NONE) {
        if (outcome == LSQLSTORE_WATCH_LOST) {
            fputs("# changes were lost: dump the store to see how it is now", stdout);
        } else if (change.value) {
            writeField(stdout, change);
        } else {
            fputs("- ", stdout);
            writeName(stdout, change);
        }
        putchar('\n');
        if (fflush(stdout) != 0)
            return false;
    }
    if (outcome == LSQLSTORE_WATCH_ERROR)
        complain();
    return outcome == LSQLSTORE_WATCH_NONE;
}

} // namespace

int runGet(int argc, char **argv)
{
    lsqlstore_field field;
    if (!readName(argc, argv, field))
        return EXIT_USAGE;
    lsqlquery_pv *const pv = field.qualifier_field ? lsqlquery_get_pv_q1(field.object, field.instance, field.field,
                                                                         field.qualifier_field, field.qualifier_value)
                                                   : lsqlquery_get_pv(field.object, field.instance, field.field);
    if (!pv)
        return complainOfRead(field);
    puts(pv->value);
    lsqlquery_destroy_pv(pv);
    return finishOutput();
}

int runSet(int argc, char **argv)
{
    lsqlstore_field field;
    if (!readName(argc - 1, argv, field))
        return EXIT_USAGE;
    field.value = argv[argc - 1];
    return writeOne(field);
}

int runUnset(int argc, char **argv)
{
    lsqlstore_field field;
    return readName(argc, argv, field) ? writeOne(field) : static_cast<int>(EXIT_USAGE);
}

int runList(int argc, char **argv)
{
    LastRow last = {};
    const char *const object = argc ? argv[0] : nullptr;
    if (object && lsqlstore_walk(object, countField, nullptr, nullptr) == LSQLSTORE_OK) {
        fprintf(stderr, "lsqlctl: there is no object \"%s\"; lsqlctl list shows what there is\n", object);
        return EXIT_NO_SUCH_FIELD;
    }
    if (lsqlstore_walk(object, object ? printField : printRow, &last, nullptr) > 0 && !ferror(stdout))
        return complain();
    return finishOutput();
}

int runDump(int, char **)
{
    fputs("# lsqlctl dump, format 1\n", stdout);
    if (lsqlstore_walk(nullptr, printField, nullptr, nullptr) > 0 && !ferror(stdout))
        return complain();
    return finishOutput();
}

int runWatch(int, char **)
{
    const sigset_t waiting = catchEnd();
    lsqlstore_watch *const watch = lsqlstore_watch_open(nullptr);
    if (!watch)
        return complain();
    puts("# watching; changes follow");
    bool isGood = fflush(stdout) == 0;
    pollfd changes = {lsqlstore_watch_fd(watch), POLLIN, 0};
    while (isGood && !g_isEnded)
        isGood = ppoll(&changes, 1, nullptr, &waiting) < 0 || printChanges(watch);
    lsqlstore_watch_close(watch);
    const int output = finishOutput();
    return isGood ? output : static_cast<int>(EXIT_FAILED);
}
