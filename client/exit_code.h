// SPDX-License-Identifier: Apache-2.0
//
// What vxpctl answers to the shell. Scripts depend on these numbers: none changes its meaning, none is used twice.
#ifndef VXP_CLIENT_EXIT_CODE_H
#define VXP_CLIENT_EXIT_CODE_H

namespace vxpctl
{

enum class ExitCode : int {
    done = 0,
    failure = 1,
    usage = 2,        // the command line is wrong; nothing was sent
    noDevice = 3,     // no device found
    localNetwork = 8, // this host's interfaces, ports or rights stand in the way
    interrupted = 130 // SIGINT or SIGTERM
};

} // namespace vxpctl

#endif
