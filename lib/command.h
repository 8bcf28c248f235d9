// SPDX-License-Identifier: Apache-2.0
//
// Running the device's own tools. Both functions keep no state and may run in two threads at once.
#ifndef VXP_LIB_COMMAND_H
#define VXP_LIB_COMMAND_H

// Run a command line, cut at 1023 characters, through the shell. Returns 0 when it exits with status 0, else -1.
// While the file "/system/cfg/debug" is readable, the command and how it failed are printed on standard output.
int System(const char *strFormat, ...) __attribute__((format(printf, 1, 2)));

// Run a command line, cut at 1023 characters, split at blanks and without a shell. Returns 0 once the child has been
// reaped, whatever its exit status, and -1 when it cannot be started or waited for. iTimeout is in seconds: after
// about one more the child gets SIGTERM, is left unreaped, and -1 is returned. -1 waits for ever; any other negative
// limit ends the child at once. A program that is not there looks like success.
int System_with_timeout(int iTimeout, const char *strFormat, ...) __attribute__((format(printf, 2, 3)));

#endif
