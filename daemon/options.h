// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_DAEMON_OPTIONS_H
#define VXP_DAEMON_OPTIONS_H

// Read the command line into g_iDebug and g_strDumpFolder; the dump folder is made at once. Prints the usage text and
// exits with status 0 for -h, for an unknown option and for an option without its value.
void parseOptions(int argc, char *argv[]);

#endif
