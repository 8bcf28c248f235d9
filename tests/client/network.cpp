// SPDX-License-Identifier: Apache-2.0
#include "network.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

constexpr const char *ownNamespace = "/proc/thread-self/ns/net";

// A new network namespace; without the right to have one, in a new user namespace in which we are root.
bool newNetwork()
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

std::unique_ptr<vxpctl::FileDescriptor> currentNetwork()
{
    return std::make_unique<vxpctl::FileDescriptor>(open(ownNamespace, O_RDONLY)); // ip inherits it
}

void shell(const std::string &commands)
{
    ASSERT_EQ(system(("set -e; PATH=$PATH:/usr/sbin:/sbin; " + commands).c_str()), 0) << commands;
}

// By position: the program that writes shares the file's offset.
std::string contents(FILE *pFile)
{
    std::string text;
    char buffer[4096];
    for (ssize_t size; (size = pread(fileno(pFile), buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;)
        text.append(buffer, static_cast<std::size_t>(size));
    return text;
}

void broadcast(int socket, const Frame &frame, std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = INADDR_BROADCAST;
    address.sin_port = htons(port);
    sendto(socket, frame.data(), frame.size(), 0, reinterpret_cast<sockaddr *>(&address), sizeof address);
}

} // namespace

bool eventually(const std::function<bool()> &condition)
{
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

Program::Program(const std::vector<std::string> &arguments) : m_pid(-1), m_pOut(tmpfile()), m_pErr(tmpfile())
{
    std::vector<char *> argv{const_cast<char *>("vxpctl")};
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    m_pid = fork();
    if (m_pid == 0) {
        dup2(fileno(m_pOut), 1);
        dup2(fileno(m_pErr), 2);
        ::signal(SIGINT, SIG_DFL); // a test that runs in the background has it ignored
        execv(VXPCTL, argv.data());
        _exit(127);
    }
}

Program::~Program()
{
    if (!ended()) {
        signal(SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    fclose(m_pOut);
    fclose(m_pErr);
}

void Program::signal(int number)
{
    if (!ended())
        kill(m_pid, number);
}

bool Program::ended()
{
    if (!m_ended)
        m_ended = waitpid(m_pid, &m_status, WNOHANG) == m_pid;
    return m_ended;
}

std::string Program::output() const
{
    return contents(m_pOut);
}

Result Program::result()
{
    const bool inTime = eventually([this] { return ended(); });
    return {inTime && WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -1, contents(m_pOut), contents(m_pErr)};
}

Responder::Responder(int socket, Answers answers)
    : m_socket(socket), m_answers(std::move(answers)), m_thread([this](std::stop_token stop) { serve(stop); })
{
}

void Responder::serve(std::stop_token stop)
{
    while (!stop.stop_requested()) {
        pollfd watched{m_socket.get(), POLLIN, 0};
        Frame request(4096);
        if (poll(&watched, 1, 20) != 1)
            continue;
        const ssize_t size = recv(m_socket.get(), request.data(), request.size(), MSG_DONTWAIT);
        request.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        for (const Frame &frame : m_answers(request))
            broadcast(m_socket.get(), frame, 62992);
    }
}

void NetworkTest::SetUp()
{
    if (getenv("VXP_EMULATED"))
        GTEST_SKIP() << "emulated: IP_PKTINFO is not converted, so the client does not run there";
    if (!newNetwork())
        GTEST_SKIP() << "no network namespaces here: " << strerror(errno);
    m_devices = currentNetwork();
    ASSERT_TRUE(newNetwork());
    m_manager = currentNetwork();
    const std::string devices = "/proc/self/fd/" + std::to_string(m_devices->get());
    shell("ip link add mgr0 type veth peer name ap0 netns " + devices +
          "; ip link add mgr1 type veth peer name ap1 netns " + devices +
          "; ip address add 10.1.2.1/24 dev mgr0; ip link set mgr0 up; ip link set mgr1 up");
    // Some distributions drop what comes in on an interface that has no address; the test is not about that.
    for (const char *pName : {"all", "mgr1"})
        std::ofstream("/proc/sys/net/ipv4/conf/" + std::string(pName) + "/rp_filter") << "0";
    ASSERT_EQ(setns(m_devices->get(), CLONE_NEWNET), 0);
    shell("ip address add 10.1.2.200/24 dev ap0; ip address add 10.3.4.200/24 dev ap1; "
          "ip link set ap0 up; ip link set ap1 up");
    ASSERT_EQ(setns(m_manager->get(), CLONE_NEWNET), 0);
}

int NetworkTest::deviceSocket(const char *pInterface)
{
    EXPECT_EQ(setns(m_devices->get(), CLONE_NEWNET), 0);
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), yes = 1;
    EXPECT_EQ(setns(m_manager->get(), CLONE_NEWNET), 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = INADDR_BROADCAST;
    address.sin_port = htons(62976);
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &yes, sizeof yes);
    setsockopt(fd, SOL_SOCKET, SO_BINDTODEVICE, pInterface, static_cast<socklen_t>(strlen(pInterface)));
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0) << strerror(errno);
    return fd;
}

void NetworkTest::respond(const char *pInterface, Responder::Answers answers)
{
    m_responders.push_back(std::make_unique<Responder>(deviceSocket(pInterface), std::move(answers)));
}

void NetworkTest::announce(const char *pInterface, const Frame &frame)
{
    const vxpctl::FileDescriptor socket(deviceSocket(pInterface));
    broadcast(socket.get(), frame, 62976);
}
