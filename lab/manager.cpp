// SPDX-License-Identifier: Apache-2.0
#include "lab/manager.h"

#include "lab/file.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <stdexcept>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace lab
{

namespace
{

constexpr char PID_FILE[] = "/var/run/vxman.pid";

// Settings are written one by one; what belongs together is applied together, this long after the last of them.
constexpr auto SETTLE_TIME = std::chrono::milliseconds(100);

constexpr const char *NETWORK_OBJECTS[] = {"management",        "static-ip-route", "host",
                                           "static-ipv6-route", "dhcp-lease",      "network"};

int checked(int result, const char *what)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

int openSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGCHLD, SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    checked(sigprocmask(SIG_BLOCK, &signals, nullptr), "sigprocmask");
    return checked(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
}

int openKernelNews()
{
    const int fd = checked(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE), "rtnetlink");
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV6_IFADDR | RTMGRP_IPV6_ROUTE;
    checked(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), "rtnetlink");
    return fd;
}

lsqlstore_watch *openWatch()
{
    lsqlstore_watch *const watch = lsqlstore_watch_open(nullptr);
    if (watch)
        return watch;
    const char *text;
    lsqlstore_last_error(&text);
    throw std::runtime_error(text);
}

Settings loadFile(const char *path)
{
    return only(Kind::configured, parseSettings(readFile(path), path));
}

// A start-up file that cannot be read must not keep the device from starting.
Settings bootSettings()
{
    try {
        if (access(STARTUP_SETTINGS, F_OK) == 0)
            return loadFile(STARTUP_SETTINGS);
    } catch (const std::exception &failure) {
        fprintf(stderr, "vxman: %s; starting with the default settings\n", failure.what());
    }
    return loadFile(DEFAULT_SETTINGS);
}

// The device's RAM disk is empty after a boot.
void emptyFolder(const char *path)
{
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator(path, ignored))
        std::filesystem::remove_all(entry.path(), ignored);
}

} // namespace

Manager::Manager(const ManagerOptions &options)
    : m_options(options), m_bootAt(Clock::now()), m_network(options.interface), m_daemon(options.daemon),
      m_dhcpClient({"busybox", "udhcpc", "-f", "-R", "-t", "3", "-T", "1", "-A", "10", "-i", options.interface, "-s",
                    "/usr/sbin/dhcp-event"}),
      m_watch(openWatch(), lsqlstore_watch_close), m_signals(openSignals()), m_kernel(openKernelNews())
{
    adoptOrphans();
}

void Manager::run()
{
    boot();
    while (m_state != State::ended)
        wait();
}

void Manager::boot()
{
    unlink(PID_FILE);
    emptyFolder("/tmp");
    Settings settings = bootSettings();
    if (access(FIRMWARE, F_OK) == 0)
        settings.merge(only(Kind::identity, parseSettings(readFile(FIRMWARE), FIRMWARE)));
    settings[named("management", "mac")] = m_network.mac();
    settings[named("management", "interface")] = m_options.interface;
    settings[named("config", "status")] = "";
    settings[named("firmware-upgrade", "progress")] = "";
    replaceSettings(settings);
    m_latestMask = readSetting("static-ip-route", "mask");
    m_leased = false;
    m_state = State::running;
    m_network.powerUp();
    settle();
}

void Manager::halt()
{
    unlink(PID_FILE);
    m_daemon.forget();
    m_dhcpClient.forget();
    m_settleAt.reset();
    endDescendants();
    m_network.powerDown();
}

void Manager::reboot()
{
    fprintf(stderr, "vxman: rebooting; back in %g s\n", m_options.bootTime);
    halt();
    const auto bootTime = std::chrono::duration<double>(m_options.bootTime);
    m_bootAt = Clock::now() + std::chrono::duration_cast<Clock::duration>(bootTime);
    m_state = State::booting;
}

void Manager::shutDown()
{
    fprintf(stderr, "vxman: shutting down\n");
    halt();
    m_state = State::ended;
}

// Bring the network to what the store says. The daemon comes once there is an address, or the DHCP client gave up.
void Manager::settle()
{
    m_settleAt.reset();
    mirrorMask();
    const bool leased = readSetting("management", "dhcp-status") == "up";
    if (leased && !m_leased) {
        updateSettings(noLease()); // an old one is not in force
        m_dhcpClient.enable();
    } else if (!leased) {
        m_dhcpClient.disable();
    }
    m_leased = leased;
    const bool addressed = m_network.apply();
    if (access(PID_FILE, F_OK) == 0 || (!addressed && leased))
        return;
    writeFile(PID_FILE, std::to_string(getpid()) + "\n");
    m_daemon.enable();
}

// One mask in two fields: whoever sets it writes the first, a reset that keeps the address reads the second, and the
// start after it writes the second. The one that was written last counts.
void Manager::mirrorMask()
{
    if (!m_latestMask.empty())
        updateSettings(
            {{named("static-ip-route", "mask"), m_latestMask}, {named("management", "static-mask"), m_latestMask}});
}

void Manager::wait()
{
    pollfd files[] = {{m_signals, POLLIN, 0}, {lsqlstore_watch_fd(m_watch.get()), POLLIN, 0}, {m_kernel, POLLIN, 0}};
    if (poll(files, std::size(files), timeout()) < 0 && errno != EINTR)
        throw std::system_error(errno, std::generic_category(), "poll");
    takeSignals();
    takeChanges();
    takeKernelNews();
    if (m_state == State::booting && Clock::now() >= m_bootAt)
        boot();
    if (m_state != State::running)
        return;
    act();
    if (m_state != State::running)
        return;
    m_daemon.startIfDue();
    m_dhcpClient.startIfDue();
    if (m_settleAt && Clock::now() >= *m_settleAt)
        settle();
}

int Manager::timeout() const
{
    std::optional<Clock::time_point> next;
    const auto consider = [&next](std::optional<Clock::time_point> time) {
        if (time && (!next || *time < *next))
            next = time;
    };
    consider(m_settleAt);
    consider(m_daemon.due());
    consider(m_dhcpClient.due());
    if (m_state == State::booting)
        consider(m_bootAt);
    if (!next)
        return -1;
    const std::chrono::duration<double, std::milli> left = *next - Clock::now();
    return static_cast<int>(std::clamp(std::ceil(left.count()), 0.0, 60000.0));
}

void Manager::reap()
{
    int status;
    for (pid_t pid; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
        m_daemon.ended(pid, status);
        m_dhcpClient.ended(pid, status);
    }
}

void Manager::takeSignals()
{
    signalfd_siginfo news;
    while (read(m_signals, &news, sizeof news) == sizeof news && m_state != State::ended) {
        if (news.ssi_signo == SIGCHLD)
            reap();
        else
            shutDown();
    }
}

void Manager::takeChanges()
{
    lsqlstore_field change;
    for (;;) {
        switch (lsqlstore_watch_next(m_watch.get(), &change)) {
        case LSQLSTORE_WATCH_CHANGE:
            noteChange(change);
            break;
        case LSQLSTORE_WATCH_LOST:
            m_triggered = true;
            m_settleAt = Clock::now();
            break;
        case LSQLSTORE_WATCH_NONE:
            return;
        default:
            m_watch.reset();
            m_watch.reset(openWatch());
            m_triggered = true;
            m_settleAt = Clock::now();
            return;
        }
    }
}

void Manager::noteChange(const lsqlstore_field &change)
{
    if (m_state != State::running || change.instance)
        return;
    const auto is = [&change](const char *object, const char *field) {
        return strcmp(change.object, object) == 0 && strcmp(change.field, field) == 0;
    };
    if (change.value && (is("static-ip-route", "mask") || is("management", "static-mask")))
        m_latestMask = change.value;
    if (strcmp(change.object, "system") == 0 || is("config", "startup"))
        m_triggered = true;
    const bool own = kindOf(named(change.object, change.field)) == Kind::passing &&
                     strcmp(change.object, "dhcp-lease") != 0 && strcmp(change.object, "network") != 0;
    const auto concerns = [&change](const char *object) { return strcmp(change.object, object) == 0; };
    if (!own && std::ranges::any_of(NETWORK_OBJECTS, concerns))
        m_settleAt = Clock::now() + SETTLE_TIME;
}

// The triggers. Each is cleared as it is taken, so that one that stands was never acted on.
void Manager::act()
{
    if (!m_triggered)
        return;
    m_triggered = false;
    if (readSetting("config", "startup") == "running") {
        updateSettings({{named("config", "startup"), ""}});
        writeFile(STARTUP_SETTINGS, formatSettings(only(Kind::configured, readStore())));
    }
    if (readSetting("system", "factory-reset") == "yes") {
        unlink(STARTUP_SETTINGS);
        reboot();
    } else if (readSetting("system", "reboot") == "yes") {
        reboot();
    } else if (readSetting("system", "shutdown") == "yes") {
        shutDown();
    }
}

void Manager::takeKernelNews()
{
    char bytes[8192];
    bool any = false;
    while (recv(m_kernel, bytes, sizeof bytes, 0) > 0 || errno == ENOBUFS)
        any = true;
    if (any && m_state == State::running)
        m_network.reportIPv6();
}

} // namespace lab
