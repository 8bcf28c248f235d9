// SPDX-License-Identifier: Apache-2.0
#include "client/interrupt.h"

#include "client/failure.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/signalfd.h>

namespace vxpctl
{
namespace
{

int openSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction present {
        };
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
            sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

Interrupt::Interrupt() : m_fd(openSignals())
{
    if (m_fd.get() < 0)
        throw Failure(ExitCode::failure, {"failure", std::string("cannot watch for signals: ") + strerror(errno), ""});
}

} // namespace vxpctl
