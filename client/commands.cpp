// SPDX-License-Identifier: Apache-2.0
#include "client/commands.h"

namespace vxpctl
{

std::vector<Command> allCommands()
{
    std::vector<Command> all{discoverCommand(), neighborsCommand(), watchCommand(), doctorCommand()};
    for (auto *pGroup : {identityCommands, networkCommands, wirelessCommands, passwordCommands, clockCommands,
                         serviceCommands, powerCommands}) {
        const auto group = pGroup();
        all.insert(all.end(), group.begin(), group.end());
    }
    all.insert(all.end(), {upgradeCommand(), backupCommand(), restoreCommand(), forgetCommand(), decodeCommand()});
    return all;
}

} // namespace vxpctl
