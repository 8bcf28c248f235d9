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
#include "client/record.h"
#include "frames.h"
#include "tests/support/contract.h"
#include "tests/support/support.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <thread>

using vxpctl::FileDescriptor;

struct Vxpctl : Program {
    explicit Vxpctl(std::vector<std::string> words)
        : Program([&] {
              words.insert(words.begin(), VXPCTL);
              return execute(words);
          })
    {
    }
};

inline sockaddr_in address(std::uint16_t port, in_addr_t ip)
{
    return {AF_INET, htons(port), {ip}, {}};
}

inline void broadcast(const FileDescriptor &socket, const Frame &frame, std::uint16_t port)
{
    const sockaddr_in everyone = address(port, INADDR_BROADCAST);
    sendto(socket.get(), frame.data(), frame.size(), 0, reinterpret_cast<const sockaddr *>(&everyone), sizeof everyone);
}

class NetworkTest : public testing::Test
{
protected:
    void SetUp() override
    {
        setenv("XDG_CACHE_HOME", m_cache.path().c_str(), 1);
        SKIP_IF_EMULATED("IP_PKTINFO is not converted, so the client does not run there");
        if (!enterNamespaces(CLONE_NEWNET))
            GTEST_SKIP() << "no network namespaces here: " << strerror(errno);
        m_devices.emplace(openNetwork());
        ASSERT_TRUE(enterNamespaces(CLONE_NEWNET));
        m_manager.emplace(openNetwork());
        const std::string devices = "/proc/self/fd/" + std::to_string(m_devices->get());
        // Where both ends have one index, the kernel tells up to a second late that there is a link.
        shell("ip link add mgr0 index 10 type veth peer name ap0 index 20 netns " + devices);
        shell("ip link add mgr1 index 11 type veth peer name ap1 index 21 netns " + devices);
        shell("ip address add 10.1.2.1/24 dev mgr0; ip link set mgr0 up; ip link set mgr1 up");
        // Some distributions drop what comes in on an interface that has no address; the test is not about that.
        for (const char *pName : {"all", "mgr1"})
            writeFile("/proc/sys/net/ipv4/conf/" + std::string(pName) + "/rp_filter", "0");
        amongDevices([] {
            shell("ip address add 10.1.2.200/24 dev ap0; ip address add 10.3.4.200/24 dev ap1; "
                  "ip link set ap0 up; ip link set ap1 up");
            ASSERT_TRUE(eventually([] { return links() == 2; }));
        });
        ASSERT_TRUE(eventually([] { return links() == 2; }));
    }
    // Broadcasts what the devices of one segment answer to each request, as long as the thread lives.
    [[nodiscard]] std::jthread respond(const std::string &interface,
                                       std::function<std::vector<Frame>(const Frame &request)> answers)
    {
        return std::jthread([fd = deviceSocket(interface), answers = std::move(answers)](const std::stop_token &stop) {
            const FileDescriptor socket(fd);
            while (!stop.stop_requested()) {
                pollfd watched{fd, POLLIN, 0};
                if (poll(&watched, 1, 20) != 1)
                    continue;
                Frame request(4096);
                request.resize(static_cast<std::size_t>(std::max<ssize_t>(recv(fd, request.data(), 4096, 0), 0)));
                for (const Frame &frame : answers(request))
                    broadcast(socket, frame, 62992);
            }
        });
    }
    // The devices of one segment, which all answer.
    void respond(const std::string &interface, const std::vector<std::string> &names)
    {
        m_segments.push_back(respond(interface, [names](const Frame &request) {
            std::vector<Frame> frames;
            for (const std::string &name : names)
                frames.push_back(reply(request, name));
            return frames;
        }));
    }
    void announce(const std::string &interface, const Frame &frame)
    {
        broadcast(FileDescriptor(deviceSocket(interface)), frame, 62976);
    }
    void TearDown() override { EXPECT_EQ(contractProblems(m_printed), ""); }
    void expectCode(const std::string &out, const std::string &errorCode)
    {
        const vxpctl::Record errors = vxpctl::Record::parse(out)["errors"];
        EXPECT_EQ(errors.empty() ? "" : errors[0]["code"], errorCode);
        m_printed.push_back(out);
    }
    void expectFailure(std::vector<std::string> arguments, int exitCode, const std::string &errorCode)
    {
        arguments.insert(arguments.end(), {"-o", "json"});
        Vxpctl program(arguments);
        EXPECT_EQ(program.status(), exitCode) << errorCode;
        expectCode(program.out(), errorCode);
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

    // Interfaces that have one: the kernel drops what is sent before it has noticed the link.
    static std::ptrdiff_t links()
    {
        const auto all = vxpctl::listInterfaces();
        return std::count_if(all.begin(), all.end(), [](const auto &one) { return one.name != "lo" && one.hasLink(); });
    }

private:
    static int openNetwork() { return open("/proc/self/ns/net", O_RDONLY); } // ip inherits it
    int deviceSocket(const std::string &interface)
    {
        int fd = -1;
        amongDevices([&fd] { fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0); });
        for (const int option : {SO_REUSEADDR, SO_BROADCAST}) {
            const int yes = 1;
            setsockopt(fd, SOL_SOCKET, option, &yes, sizeof yes);
        }
        setsockopt(fd, SOL_SOCKET, SO_BINDTODEVICE, interface.data(), static_cast<socklen_t>(interface.size()));
        const sockaddr_in everyone = address(62976, INADDR_BROADCAST);
        EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&everyone), sizeof everyone), 0) << strerror(errno);
        return fd;
    }

    TemporaryFolder m_cache;
    std::vector<std::string> m_printed;                 // as JSON
    std::optional<FileDescriptor> m_devices, m_manager; // namespaces

protected:
    std::vector<std::jthread> m_segments; // what answers until the test is over
};

#endif
