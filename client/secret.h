// SPDX-License-Identifier: Apache-2.0
//
// Passwords: never from the command line, which every user of the host can read.
#ifndef VXP_CLIENT_SECRET_H
#define VXP_CLIENT_SECRET_H

#include <optional>
#include <string>

namespace vxpctl
{

// Where a password comes from: the file, the descriptor, the environment variable, the terminal; the first that is
// there.
struct SecretSource {
    std::string what;         // for people: "password of sysop"
    std::string file{};       // empty: none; refused when others can read it
    int fd = -1;              // -1: none
    std::string variable{};   // empty: none
    std::string fileOption{}; // for the hint
    bool twice = false;       // ask the terminal twice, and compare
};

// One line, without its end. Throws Failure (usage) when there is no source, or it cannot be used.
std::string readSecret(const SecretSource &source);

// The first lines of a file that only its owner can read. Throws Failure (usage).
std::string readPrivateFile(const std::string &path);

// Whether a person sits there who can be asked.
bool isInteractive();

// A question to the person; true for "y" or "yes".
bool confirm(const std::string &question);

} // namespace vxpctl

#endif
