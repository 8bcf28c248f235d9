// SPDX-License-Identifier: Apache-2.0
//
// lsqlctl: the configuration store from the command line.
#include "lsqlquery/lsqlctl.h"
#include "lsqlquery/lsqlstore.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

namespace
{

struct Command {
    const char *name;
    int least; // arguments
    int most;
    int (*run)(int argc, char **argv);
    const char *arguments;
    const char *help;
};

constexpr Command COMMANDS[] = {
    {"get", 2, 3, runGet, "OBJECT[/INSTANCE] FIELD [QFIELD=QVALUE]", "print a value"},
    {"set", 3, 4, runSet, "OBJECT[/INSTANCE] FIELD [QFIELD=QVALUE] VALUE", "write a value"},
    {"unset", 2, 3, runUnset, "OBJECT[/INSTANCE] FIELD [QFIELD=QVALUE]", "remove a field"},
    {"list", 0, 1, runList, "[OBJECT]", "print all rows, or OBJECT's fields"},
    {"dump", 0, 0, runDump, "", "print the whole store as text"},
    {"load", 1, 2, runLoad, "[--replace] FILE", "write all fields of a dump, or none"},
    {"watch", 0, 0, runWatch, "", "print changes as they are made"},
};

constexpr const char *HELP_TAIL =
    "\n"
    "INSTANCE is a row of OBJECT; without it the object has no rows. QFIELD=QVALUE chooses among rows of one name.\n"
    "\n"
    "A dump has one line per field, which people may edit:\n"
    "    OBJECT[/INSTANCE] FIELD [QFIELD=QVALUE] \"VALUE\"    # comment\n"
    "In quotes, \\\\ \\\" \\n \\r \\t and \\xHH stand for a back-slash, a quote, control characters and any byte.\n"
    "load adds to what is there; with --replace, it removes everything that FILE does not name. FILE may be - for\n"
    "standard input. watch prints a line of a dump for each field that is written, and \"- \" and the field's name "
    "for\n"
    "each that is removed.\n"
    "\n"
    "Environment: LSQLQUERY_DB        the store's folder (/var/lib/lsqlquery)\n"
    "             LSQLQUERY_MAP_SIZE  the size to which it may grow (16M)\n"
    "Exit status: 0 done, 1 failed, 2 wrong usage, 3 there is no such field.\n";

int printHelp()
{
    puts("Usage: lsqlctl COMMAND [ARGUMENT...]\nRead and write the device's configuration store.\n");
    for (const Command &command : COMMANDS)
        printf("  %-5s %-46s  %s\n", command.name, command.arguments, command.help);
    fputs(HELP_TAIL, stdout);
    return finishOutput();
}

int runCommand(const Command &command, int argc, char **argv)
{
    if (argc >= command.least && argc <= command.most)
        return command.run(argc, argv);
    fprintf(stderr, "lsqlctl: usage: lsqlctl %s %s\n", command.name, command.arguments);
    return EXIT_USAGE;
}

} // namespace

int complain()
{
    const char *text;
    const int outcome = lsqlstore_last_error(&text);
    fprintf(stderr, "lsqlctl: %s\n", text);
    return outcome == LSQLSTORE_NOT_FOUND ? EXIT_NO_SUCH_FIELD : EXIT_FAILED;
}

int complainOf(const char *what)
{
    fprintf(stderr, "lsqlctl: %s: %s\n", what, strerror(errno));
    return EXIT_FAILED;
}

int finishOutput()
{
    return fflush(stdout) == 0 && !ferror(stdout) ? EXIT_DONE : complainOf("cannot write to standard output");
}

int main(int argc, char **argv)
{
    lsqlstore_set_report(nullptr); // every failure is printed here
    const char *const name = argc > 1 ? argv[1] : "";
    if (strcmp(name, "--help") == 0 || strcmp(name, "-h") == 0)
        return printHelp();
    if (strcmp(name, "--version") == 0) {
        puts("lsqlctl " VXP_VERSION_TEXT);
        return finishOutput();
    }
    for (const Command &command : COMMANDS)
        if (strcmp(name, command.name) == 0)
            return runCommand(command, argc - 2, argv + 2);
    if (argc > 1)
        fprintf(stderr, "lsqlctl: there is no command \"%s\"; ", name);
    else
        fputs("lsqlctl: a command is missing; ", stderr);
    fputs("lsqlctl --help shows them\n", stderr);
    return EXIT_USAGE;
}
