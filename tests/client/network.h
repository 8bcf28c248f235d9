// SPDX-License-Identifier: Apache-2.0
//
// vxpctl run as a program by a manager with two network interfaces, and devices behind each, in network namespaces:
//
//   manager, where the test and vxpctl run      devices
//     mgr0  10.1.2.1/24  ------------------------  ap0  10.1.2.200/24
//     mgr1  (no IPv4)    ------------------------  ap1  10.3.4.200/24
#ifndef VXP_TESTS_CLIENT_NETWORK_H
#define VXP_TESTS_CLIENT_NETWORK_H

#include "client/file_descriptor.h"
#include "client/interfaces.h"
#include "frames.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <list>
#include <poll.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>

using vxpctl::FileDescriptor;

// Polls until the condition holds; false when it does not within ten seconds.
inline bool eventually(const std::function<bool()> &condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// A vxpctl that runs.
class Program
{
public:
    explicit Program(const std::vector<std::string> &arguments)
    {
        std::vector<char *> argv{const_cast<char *>("vxpctl")};
        for (const std::string &argument : arguments)
            argv.push_back(const_cast<char *>(argument.c_str()));
        argv.push_back(nullptr);
        m_pid = fork();
        if (m_pid == 0) {
            dup2(m_out.get(), 1);
            dup2(m_err.get(), 2);
            ::signal(SIGINT, SIG_DFL); // a test that runs in the background has it ignored
            execv(VXPCTL, argv.data());
            _exit(127);
        }
    }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;
    ~Program()
    {
        if (!ended() && kill(m_pid, SIGKILL) == 0)
            waitpid(m_pid, nullptr, 0);
    }
    void signal(int number) { EXPECT_TRUE(!ended() && kill(m_pid, number) == 0); }
    bool ended() { return m_ended || (m_ended = waitpid(m_pid, &m_status, WNOHANG) == m_pid); }
    int exitCode() // waits for the end; -1 when the program did not end by itself
    {
        return eventually([this] { return ended(); }) && WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -1;
    }
    std::string out() const { return contents(m_out); } // so far
    std::string err() const { return contents(m_err); }

private:
    static int temporaryFile() { return memfd_create("vxpctl", MFD_CLOEXEC); }
    // By position: the program that writes shares the file's offset.
    static std::string contents(const FileDescriptor &file)
    {
        std::string text(static_cast<std::size_t>(lseek(file.get(), 0, SEEK_END)), '\0');
        EXPECT_EQ(pread(file.get(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
        return text;
    }

    FileDescriptor m_out{temporaryFile()}, m_err{temporaryFile()};
    pid_t m_pid = -1;
    int m_status = 0;
    bool m_ended = false;
};

inline void broadcast(const FileDescriptor &socket, const Frame &frame, std::uint16_t port)
{
    const sockaddr_in everyone{AF_INET, htons(port), {INADDR_BROADCAST}, {}};
    sendto(socket.get(), frame.data(), frame.size(), 0, reinterpret_cast<const sockaddr *>(&everyone), sizeof everyone);
}

// Broadcasts what the devices of one segment answer to each request.
class Responder
{
public:
    using Answers = std::function<std::vector<Frame>(const Frame &request)>;
    Responder(int socket, Answers answers)
        : m_socket(socket), m_answers(std::move(answers)), m_thread([this](std::stop_token stop) { serve(stop); })
    {
    }

private:
    void serve(std::stop_token stop)
    {
        while (!stop.stop_requested()) {
            pollfd watched{m_socket.get(), POLLIN, 0};
            Frame request(4096);
            if (poll(&watched, 1, 20) != 1)
                continue;
            const ssize_t size = recv(m_socket.get(), request.data(), request.size(), MSG_DONTWAIT);
            request.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
            for (const Frame &frame : m_answers(request))
                broadcast(m_socket, frame, 62992);
        }
    }

    FileDescriptor m_socket;
    Answers m_answers;
    std::jthread m_thread;
};

class NetworkTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (getenv("VXP_EMULATED"))
            GTEST_SKIP() << "emulated: IP_PKTINFO is not converted, so the client does not run there";
        if (!newNetwork())
            GTEST_SKIP() << "no network namespaces here: " << strerror(errno);
        m_devices = currentNetwork();
        ASSERT_TRUE(newNetwork());
        m_manager = currentNetwork();
        const std::string devices = "/proc/self/fd/" + std::to_string(m_devices->get());
        shell("ip link add mgr0 type veth peer name ap0 netns " + devices);
        shell("ip link add mgr1 type veth peer name ap1 netns " + devices);
        shell("ip address add 10.1.2.1/24 dev mgr0; ip link set mgr0 up; ip link set mgr1 up");
        // Some distributions drop what comes in on an interface that has no address; the test is not about that.
        for (const char *pName : {"all", "mgr1"})
            std::ofstream("/proc/sys/net/ipv4/conf/" + std::string(pName) + "/rp_filter") << "0";
        amongDevices([] {
            shell("ip address add 10.1.2.200/24 dev ap0; ip address add 10.3.4.200/24 dev ap1; "
                  "ip link set ap0 up; ip link set ap1 up");
            ASSERT_TRUE(eventually(bothHaveLink));
        });
        ASSERT_TRUE(eventually(bothHaveLink));
    }
    void respond(const std::string &interface, Responder::Answers answers)
    {
        m_responders.emplace_back(deviceSocket(interface), std::move(answers));
    }
    void announce(const std::string &interface, const Frame &frame)
    {
        broadcast(FileDescriptor(deviceSocket(interface)), frame, 62976);
    }

private:
    // A new network namespace; without the right to have one, in a new user namespace in which we are root.
    static bool newNetwork()
    {
        if (unshare(CLONE_NEWNET) == 0)
            return true;
        const uid_t uid = getuid();
        const gid_t gid = getgid();
        if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
            return false;
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << uid << " 1";
        std::ofstream("/proc/self/gid_map") << "0 " << gid << " 1";
        return true;
    }
    // The kernel drops what is sent before it has noticed the link.
    static bool bothHaveLink()
    {
        const auto all = vxpctl::listInterfaces();
        return std::count_if(all.begin(), all.end(),
                             [](const auto &one) { return one.name != "lo" && one.hasLink(); }) == 2;
    }
    static std::unique_ptr<FileDescriptor> currentNetwork()
    {
        return std::make_unique<FileDescriptor>(open("/proc/self/ns/net", O_RDONLY)); // ip inherits it
    }
    static void shell(const std::string &commands)
    {
        ASSERT_EQ(system(("set -e; PATH=$PATH:/usr/sbin:/sbin; " + commands).c_str()), 0) << commands;
    }
    void amongDevices(const std::function<void()> &action)
    {
        ASSERT_EQ(setns(m_devices->get(), CLONE_NEWNET), 0);
        action();
        ASSERT_EQ(setns(m_manager->get(), CLONE_NEWNET), 0);
    }
    int deviceSocket(const std::string &interface)
    {
        int fd = -1;
        amongDevices([&fd] { fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0); });
        const sockaddr_in everyone{AF_INET, htons(62976), {INADDR_BROADCAST}, {}};
        for (const int option : {SO_REUSEADDR, SO_BROADCAST}) {
            const int yes = 1;
            setsockopt(fd, SOL_SOCKET, option, &yes, sizeof yes);
        }
        setsockopt(fd, SOL_SOCKET, SO_BINDTODEVICE, interface.data(), static_cast<socklen_t>(interface.size()));
        EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&everyone), sizeof everyone), 0) << strerror(errno);
        return fd;
    }

    std::unique_ptr<FileDescriptor> m_devices, m_manager; // namespaces
    std::list<Responder> m_responders;
};

#endif
