// SPDX-License-Identifier: Apache-2.0
#ifndef LSQLQUERY_LSQLCTL_H
#define LSQLQUERY_LSQLCTL_H

// Exit codes of lsqlctl.
enum ExitCode : int {
    EXIT_DONE = 0,
    EXIT_FAILED = 1,
    EXIT_USAGE = 2,
    EXIT_NO_SUCH_FIELD = 3,
};

// Each prints what went wrong, if anything, to standard error and returns the exit code.
int runGet(int argc, char **argv);
int runSet(int argc, char **argv);
int runUnset(int argc, char **argv);
int runList(int argc, char **argv);
int runDump(int argc, char **argv);
int runLoad(int argc, char **argv);
int runWatch(int argc, char **argv);

// Print the store's latest error.
int complain();

// Print "lsqlctl: WHAT: the system's reason".
int complainOf(const char *what);

// Zero if everything printed to standard output has arrived.
int finishOutput();

#endif
