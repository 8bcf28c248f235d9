// SPDX-License-Identifier: Apache-2.0
//
// vxpctl-manual <PAGE: puts the commands into a manual page, roff for roff, where it says @COMMANDS@. A program of the
// build: page, help and command line have one source.
#include "client/commands.h"

#include <iostream>

namespace
{

using namespace vxpctl;

// Text as roff(7) shows it.
std::string roff(const std::string &text)
{
    std::string out;
    for (const char c : text) {
        if ((out.empty() || out.back() == '\n') && (c == '.' || c == '\''))
            out += "\\&";
        out += c == '-' ? "\\-" : c == '\\' ? "\\e" : std::string(1, c);
    }
    return out;
}

std::string operandOf(const Command &command)
{
    if (command.kind == CommandKind::device)
        return " \\fITARGET\\fR...";
    return command.operand.empty() ? "" : " \\fI" + command.operand + "\\fR...";
}

void describe(const Command &command)
{
    std::cout << ".SS " << roff(command.view.command) << operandOf(command) << "\n"
              << roff(command.summary) << ".\n"
              << roff(command.description) << "\n";
    for (const Setting &setting : command.settings)
        std::cout << ".TP\n\\fB" << roff(setting.name) << "\\fR \\fI" << roff(setting.valueName) << "\\fR\n"
                  << roff(setting.help) << (setting.required ? "; required" : "") << ".\n";
}

} // namespace

int main()
{
    std::cout.exceptions(std::ios::badbit | std::ios::failbit);
    for (std::string line; std::getline(std::cin, line);) {
        if (line != "@COMMANDS@") {
            std::cout << line << '\n';
            continue;
        }
        for (const Command &command : allCommands())
            describe(command);
    }
    std::cout.flush();
}
