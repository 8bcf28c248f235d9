// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_INTERRUPT_H
#define VXP_CLIENT_INTERRUPT_H

#include "client/file_descriptor.h"

#include <csignal>

namespace vxpctl
{

// While it lives, SIGINT and SIGTERM make fd() readable instead of ending the process, so that a command can still
// show what it has. A signal that was ignored at start (a background job of a script) stays ignored.
class Interrupt
{
public:
    Interrupt();
    Interrupt(const Interrupt &) = delete;
    Interrupt &operator=(const Interrupt &) = delete;
    ~Interrupt();
    int fd() const { return m_fd.get(); }

private:
    sigset_t m_maskBefore;
    FileDescriptor m_fd;
};

} // namespace vxpctl

#endif
