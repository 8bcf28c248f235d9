// SPDX-License-Identifier: Apache-2.0
#include "daemon/options.h"

#include "daemon/dump.h"
#include "lib/debug.h"

#include <getopt.h>

#include <cstdio>
#include <cstdlib>

namespace
{

[[noreturn]] void printUsage()
{
    printf("%s:\n", "main");
    printf("\t-d, --debug: set debug level\n");
    exit(0);
}

void setDumpFolder(const char *strFolder)
{
    g_strDumpFolder = strFolder;
    char strCommand[1024];
    snprintf(strCommand, sizeof strCommand, "mkdir -p %s", strFolder);
    if (system(strCommand) != 0)
        return; // dumps are skipped when the folder is not there
}

} // namespace

void parseOptions(int argc, char *argv[])
{
    static const option OPTIONS[] = {
        {"debug", no_argument, nullptr, 'd'},
        {"folder", required_argument, nullptr, 'f'},
        {"help", no_argument, nullptr, 'h'},
        {nullptr, 0, nullptr, 0},
    };
    opterr = 0;
    for (int iOption; (iOption = getopt_long(argc, argv, "df:h", OPTIONS, nullptr)) != -1;) {
        switch (iOption) {
        case 'd':
            g_iDebug = optarg ? atoi(optarg) : 1;
            break;
        case 'f':
            setDumpFolder(optarg);
            break;
        default:
            if (iOption == '?' && optopt == 'f')
                printf("need value for argument '-%c'.\n", optopt);
            printUsage();
        }
    }
}
