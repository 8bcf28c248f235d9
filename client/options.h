// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_OPTIONS_H
#define VXP_CLIENT_OPTIONS_H

#include "client/writer.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vxpctl
{

// The command line, parsed.
struct Options {
    Format format = Format::table;
    bool verbose = false;
    std::vector<std::string> interfaces{}; // none named: all that can be used
    double timeout = 0;                    // seconds; 0: what suits the command
    int tries = 0;                         // 0: what suits the time
    bool noCache = false;
    unsigned long count = 0; // 0 = no limit
    bool trace = false;
    std::string captureFile{}; // empty: none
    Selection selection{};

    // Of commands that name devices.
    std::vector<std::string> targets{}; // or files
    bool all = false;
    bool yes = false;
    bool dryRun = false;
    std::string passwordFile{};
    int passwordFd = -1;
    std::map<std::string, std::string> values{}; // what Command::settings ask for

    std::optional<std::string> value(const std::string &name) const
    {
        const auto found = values.find(name);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    }
    bool given(const std::string &name) const { return values.contains(name); }
};

} // namespace vxpctl

#endif
