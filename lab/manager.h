// SPDX-License-Identifier: Apache-2.0
//
// The device manager's life: boot, act on what changes in the store, boot again.
#ifndef VXP_LAB_MANAGER_H
#define VXP_LAB_MANAGER_H

#include "lab/network.h"
#include "lab/process.h"

#include "lsqlquery/lsqlstore.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lab
{

struct ManagerOptions {
    std::string interface = "brtrunk";
    double bootTime = 3; // seconds that a reboot takes; power-up takes none
    std::vector<std::string> daemon{"vxpd"};
};

class Manager
{
public:
    explicit Manager(const ManagerOptions &options);
    void run(); // until a shutdown is asked for, by the store or by a signal

private:
    enum class State { running, booting, ended };

    void boot();
    void halt(); // all but this process
    void reboot();
    void shutDown();

    void wait();
    int timeout() const; // ms; -1: none
    void reap();
    void takeSignals();
    void takeChanges();
    void takeKernelNews();
    void noteChange(const lsqlstore_field &change);
    void act();
    void mirrorMask();
    void settle();

    ManagerOptions m_options;
    State m_state = State::booting;
    Clock::time_point m_bootAt;
    Network m_network;
    Service m_daemon;
    Service m_dhcpClient;
    std::unique_ptr<lsqlstore_watch, decltype(&lsqlstore_watch_close)> m_watch;
    int m_signals;
    int m_kernel;
    bool m_leased = false;   // the DHCP client runs
    bool m_triggered = true; // a trigger may stand in the store
    std::string m_latestMask;
    std::optional<Clock::time_point> m_settleAt;
};

} // namespace lab

#endif
