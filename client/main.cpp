// SPDX-License-Identifier: Apache-2.0
//
// vxpctl: the management client.
#include "client/command_line.h"

#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

namespace
{

using namespace vxpctl;

// A stream that was closed before the start would lend its number to the next socket, and what is printed would be
// sent.
void reserveStandardStreams()
{
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO)
        fd = open("/dev/null", O_RDONLY); // printing to it fails, as it should
    if (fd >= 0)
        close(fd);
}

} // namespace

int main(int argc, char **argv)
{
    reserveStandardStreams();
    signal(SIGPIPE, [](int) {}); // writing fails instead; unlike SIG_IGN, this is not passed on to other programs
    std::cerr.tie(nullptr);      // it can be written to when the output cannot
    std::cout.exceptions(std::ios::badbit | std::ios::failbit);
    try {
        const ExitCode code = runCommandLine(argc, argv);
        std::cout.flush();
        return static_cast<int>(code);
    } catch (const std::ios::failure &) {
        std::cerr << "vxpctl: cannot write to standard output\n  hint: is it closed, or its disk full?\n";
        return static_cast<int>(ExitCode::failure);
    }
}
