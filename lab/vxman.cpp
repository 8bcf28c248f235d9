// SPDX-License-Identifier: Apache-2.0
//
// vxman: the device manager of a simulated access point, and the owner of its configuration store.
#include "lab/manager.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <getopt.h>

namespace
{

constexpr char USAGE[] =
    "Usage: vxman [OPTION...] [-- DAEMON...]\n"
    "Manage a simulated access point: start its daemon (vxpd) and do what is written to its configuration store.\n"
    "To be started in the device's private root; vxplab does.\n"
    "\n"
    "  --interface NAME      the management interface (brtrunk)\n"
    "  --boot-time SECONDS   what a reboot takes (3)\n"
    "  --flash-time SECONDS  what writing a firmware takes (1)\n"
    "  --help\n"
    "\n"
    "Reads /etc/vxp/default (the settings after a factory reset), /etc/vxp/startup (those that a commit saved) and\n"
    "/etc/vxp/firmware (model and version), in the format of lsqlctl's dumps. Exit status: 0 after a shutdown.\n";

bool isSeconds(const char *text)
{
    char *end;
    const double seconds = strtod(text, &end);
    return end != text && !*end && seconds >= 0 && seconds <= 3600;
}

int refuse(const char *option)
{
    fprintf(stderr, "vxman: --%s takes seconds from 0 to 3600\n", option);
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    constexpr option OPTIONS[] = {{"interface", required_argument, nullptr, 'i'},
                                  {"boot-time", required_argument, nullptr, 'b'},
                                  {"flash-time", required_argument, nullptr, 'f'},
                                  {"help", no_argument, nullptr, 'h'},
                                  {}};
    lab::ManagerOptions options;
    for (int letter; (letter = getopt_long(argc, argv, "+", OPTIONS, nullptr)) != -1;) {
        switch (letter) {
        case 'i':
            options.interface = optarg;
            break;
        case 'b':
            if (!isSeconds(optarg))
                return refuse("boot-time");
            options.bootTime = strtod(optarg, nullptr);
            break;
        case 'f':
            if (!isSeconds(optarg))
                return refuse("flash-time");
            setenv("VXP_FLASH_TIME", optarg, 1); // for the tools
            break;
        case 'h':
            fputs(USAGE, stdout);
            return 0;
        default:
            fputs(USAGE, stderr);
            return 2;
        }
    }
    if (optind < argc)
        options.daemon.assign(argv + optind, argv + argc);
    try {
        lab::Manager(options).run();
        return 0;
    } catch (const std::exception &failure) {
        fprintf(stderr, "vxman: %s\n", failure.what());
        return 1;
    }
}
