// SPDX-License-Identifier: Apache-2.0
//
// A manager with two network interfaces and a segment of devices behind each, in network namespaces:
//
//   manager, where the test and vxpctl run      devices
//     mgr0  10.1.2.1/24  ------------------------  ap0  10.1.2.200/24
//     mgr1  (no IPv4)    ------------------------  ap1  10.3.4.200/24
#ifndef VXP_TESTS_CLIENT_NETWORK_H
#define VXP_TESTS_CLIENT_NETWORK_H

#include "client/file_descriptor.h"
#include "frames.h"

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

// Polls until the condition holds; false when it does not within ten seconds.
bool eventually(const std::function<bool()> &condition);

struct Result {
    int code = -1; // exit code; -1 when the program did not end by itself
    std::string out, err;
};

// A vxpctl that runs.
class Program
{
public:
    explicit Program(const std::vector<std::string> &arguments);
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;
    ~Program();
    void signal(int number);
    bool ended();
    std::string output() const; // so far
    Result result();            // waits for the end

private:
    pid_t m_pid;
    int m_status = 0;
    bool m_ended = false;
    FILE *m_pOut, *m_pErr;
};

// Listens for requests on one interface of the devices' namespace, and broadcasts there what answers gives for each.
class Responder
{
public:
    using Answers = std::function<std::vector<Frame>(const Frame &request)>;
    Responder(int socket, Answers answers);

private:
    void serve(std::stop_token stop);

    vxpctl::FileDescriptor m_socket;
    Answers m_answers;
    std::jthread m_thread;
};

class NetworkTest : public testing::Test
{
protected:
    void SetUp() override;
    void respond(const char *pInterface, Responder::Answers answers);
    void announce(const char *pInterface, const Frame &frame); // once

private:
    int deviceSocket(const char *pInterface);

    std::unique_ptr<vxpctl::FileDescriptor> m_devices, m_manager; // namespaces
    std::vector<std::unique_ptr<Responder>> m_responders;
};

#endif
