// SPDX-License-Identifier: Apache-2.0
//
// The commands, each described once: the command line, the help and the output are made from this.
#ifndef VXP_CLIENT_COMMANDS_H
#define VXP_CLIENT_COMMANDS_H

#include "client/exit_code.h"
#include "client/log.h"
#include "client/options.h"
#include "client/writer.h"

#include <functional>
#include <string>
#include <vector>

namespace vxpctl
{

// An option of one command alone; its value arrives in Options::values under its name.
struct Setting {
    std::string name;                   // with its dashes
    std::string valueName;              // empty: a switch without a value
    std::string help;                   // a line
    std::vector<std::string> choices{}; // empty: any value
    bool required = false;
};

enum class CommandKind {
    survey, // asks everybody
    probe,  // the same, for a fixed time
    listen, // sends nothing
    device, // asks the devices that the command line names
    local,  // neither sends nor listens
};

struct Command {
    View view; // view.command is the name; "wireless get" is the command get of the group wireless
    std::string summary;
    std::string description;
    Options defaults;
    std::function<ExitCode(const Options &, Writer &, const Log &)> run;
    CommandKind kind = CommandKind::survey;
    std::vector<Setting> settings{};
    std::string operand{}, operandHelp{}; // what a local command is about; in Options::targets
};

Command discoverCommand();
Command neighborsCommand();
Command watchCommand();
Command doctorCommand();
Command decodeCommand();
Command forgetCommand();
std::vector<Command> identityCommands(); // show, status, functions
std::vector<Command> networkCommands();
std::vector<Command> passwordCommands();
std::vector<Command> clockCommands(); // time, ddns
std::vector<Command> wirelessCommands();
std::vector<Command> serviceCommands(); // vlan, snmp
std::vector<Command> powerCommands();   // save, reboot, reset
Command upgradeCommand();
Command backupCommand();
Command restoreCommand();

// All of them, in the order of the help.
std::vector<Command> allCommands();

// Runs a command and shows what comes of it, failures included.
ExitCode runCommand(const Command &command, const Options &options, std::ostream &out, std::ostream &err);

} // namespace vxpctl

#endif
