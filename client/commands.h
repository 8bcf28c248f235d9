// SPDX-License-Identifier: Apache-2.0
//
// The commands, each described once: the command line, the help and the output are made from this.
#ifndef VXP_CLIENT_COMMANDS_H
#define VXP_CLIENT_COMMANDS_H

#include "client/exit_code.h"
#include "client/log.h"
#include "client/writer.h"

#include <string>
#include <vector>

namespace vxpctl
{

struct Options {
    Format format = Format::table;
    bool verbose = false;
    std::vector<std::string> interfaces{}; // none named: all that can be used
    double timeout = 0;                    // seconds; 0 = no limit
    int tries = 0;
    unsigned long count = 0; // 0 = no limit
};

struct Command {
    View view; // view.command is the name
    std::string summary;
    std::string description;
    Options defaults; // tries 0: the command sends nothing, and has --count instead
    ExitCode (*run)(const Options &, Writer &, const Log &);
};

Command discoverCommand();
Command neighborsCommand();
Command watchCommand();

// Runs a command and shows what comes of it, failures included.
ExitCode runCommand(const Command &command, const Options &options, std::ostream &out, std::ostream &err);

} // namespace vxpctl

#endif
