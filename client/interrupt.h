// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_CLIENT_INTERRUPT_H
#define VXP_CLIENT_INTERRUPT_H

#include <memory>

namespace vxpctl
{

// While one lives, SIGINT, SIGTERM and SIGHUP (the terminal is gone) make fd() readable instead of ending the process,
// so that a command can still show what it has and clean up. All that live at a time share what came, and it stays
// until the last goes. Who starts threads holds one before, so that they inherit its signal mask. A signal that was
// ignored at start (a background job of a script, nohup) stays ignored.
class Interrupt
{
public:
    Interrupt();
    int fd() const;
    bool came() const { return cameWithin(0); }
    bool cameWithin(double seconds) const; // waits for it

private:
    struct Watch;
    std::shared_ptr<const Watch> m_watch;
};

} // namespace vxpctl

#endif
