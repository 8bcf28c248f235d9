// SPDX-License-Identifier: Apache-2.0
#include "client/interrupt.h"

#include "client/failure.h"
#include "client/file_descriptor.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>
#include <poll.h>
#include <sys/signalfd.h>

namespace vxpctl
{
namespace
{

int openSignals(sigset_t &maskBefore)
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction present {
        };
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
            sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, &maskBefore);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

struct Interrupt::Watch {
    sigset_t maskBefore;
    FileDescriptor fd{openSignals(maskBefore)};

    // What came is taken before the signals act again, or it would end the process now.
    ~Watch()
    {
        signalfd_siginfo taken;
        while (read(fd.get(), &taken, sizeof taken) > 0)
            continue;
        pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
    }
};

Interrupt::Interrupt()
{
    static std::mutex mutex;
    static std::weak_ptr<const Watch> current;
    const std::lock_guard lock(mutex);
    m_watch = current.lock();
    if (!m_watch)
        current = m_watch = std::make_shared<const Watch>();
    if (fd() < 0)
        throw Failure(ExitCode::failure, {"failure", std::string("cannot watch for signals: ") + strerror(errno), ""});
}

int Interrupt::fd() const
{
    return m_watch->fd.get();
}

bool Interrupt::cameWithin(double seconds) const
{
    pollfd watched{fd(), POLLIN, 0};
    return poll(&watched, 1, static_cast<int>(seconds * 1000)) > 0;
}

} // namespace vxpctl
