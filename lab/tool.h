// SPDX-License-Identifier: Apache-2.0
//
// The tools of the simulated device, all in one program: the name under which it is started says which is meant.
#ifndef VXP_LAB_TOOL_H
#define VXP_LAB_TOOL_H

#include <stdexcept>
#include <string>
#include <vector>

namespace lab
{

using Arguments = std::vector<std::string>;

// A wrong call: the tool's usage line is shown, and the exit status is 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Each does its work or throws; main() prints "TOOL: what happened" and exits with status 1.
void submit(const Arguments &arguments);
void configDump(const Arguments &arguments);
void configFile(const Arguments &arguments);
void flashValidate(const Arguments &arguments);
void flashUpgrade(const Arguments &arguments);
void firmwareUpgrade(const Arguments &arguments);
void dhcpEvent(const Arguments &arguments);

// The settings as a backup holds them, and back.
std::string formatBackup();
void checkBackup(const std::string &text, const std::string &name); // throws what is wrong

// What SET_PASSWD was given before it was quoted for a shell: without the back-slash before each $ " ` and \.
std::string unquoted(const std::string &text);

} // namespace lab

#endif
