// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_COMMAND_LINE_H
#define VXP_CLIENT_COMMAND_LINE_H

#include "client/exit_code.h"

namespace vxpctl
{

// Parses the command line, runs what it asks for, and shows the results on the standard streams.
ExitCode runCommandLine(int argc, char **argv);

} // namespace vxpctl

#endif
