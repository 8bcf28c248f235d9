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
    noAnswer = 4,     // a device that was found did not answer in time
    refused = 5,      // the device does not accept the password
    deviceError = 6,  // the device reported an error
    partly = 7,       // done on some devices, not on others
    localNetwork = 8, // this host's interfaces, ports or rights stand in the way
    notConfirmed = 9, // the person did not agree; nothing was changed
    notVerified = 10, // the device accepted the change, but what it reports does not show it
    interrupted = 130 // SIGINT, SIGTERM or SIGHUP
};

} // namespace vxpctl

#endif
