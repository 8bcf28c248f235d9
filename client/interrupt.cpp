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

int openSignals(sigset_t &maskBefore)
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction present {
        };
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
            sigaddset(&signals, signal);
    }
    sigprocmask(SIG_BLOCK, &signals, &maskBefore);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

Interrupt::Interrupt() : m_fd(openSignals(m_maskBefore))
{
    if (m_fd.get() < 0)
        throw Failure(ExitCode::failure, {"failure", std::string("cannot watch for signals: ") + strerror(errno), ""});
}

// What came is taken before the signals act again, or it would end the process now.
Interrupt::~Interrupt()
{
    signalfd_siginfo taken;
    while (read(m_fd.get(), &taken, sizeof taken) > 0)
        continue;
    sigprocmask(SIG_SETMASK, &m_maskBefore, nullptr);
}

} // namespace vxpctl
