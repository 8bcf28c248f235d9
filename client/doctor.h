// SPDX-License-Identifier: Apache-2.0
//
// Why devices are not found: what happened to requests and answers, and what that means.
#ifndef VXP_CLIENT_DOCTOR_H
#define VXP_CLIENT_DOCTOR_H

#include "client/firewall.h"
#include "client/interfaces.h"
#include "client/log.h"
#include "client/protocol.h"
#include "client/survey.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vxpctl
{

// Answers to the probe's own requests.
struct Heard {
    unsigned replies = 0;
    std::set<IPv4_Address> sources{};
    std::map<std::string, Record> devices{};                                             // by MAC address
    std::map<std::pair<std::string, std::uint16_t>, std::set<std::uint16_t>> answered{}; // tags, by MAC and operation
};

// One interface.
struct Evidence {
    Interface interface;
    int reversePathAll = 0, reversePathOwn = 0; // rp_filter, ip-sysctl(5): 0 off, 1 strict, 2 loose
    bool defaultRoute = false;                  // whether what has no route of its own goes out here
    unsigned sent = 0;                          // requests that the kernel took
    int sendError = 0;                          // errno of the latest
    unsigned left = 0;                          // requests that a packet socket saw go out
    Heard seen{};                               // by a packet socket
    Heard received{};                           // by the UDP socket

    int reversePath() const { return std::max(reversePathAll, reversePathOwn); } // which is in force
};

struct Examination {
    std::vector<Evidence> interfaces{};
    std::vector<std::string> named{}; // interfaces that the user insists on
    std::string blindness{};          // why there is no packet socket; empty when there is
    unsigned rounds = 0;              // each with both requests, on each interface
    unsigned long dropsBefore = 0,
                  dropsAfter = 0; // by the reverse-path filter, on all interfaces (IPReversePathFilter)
    Firewall firewall{};
};

// Fills in what comes of asking; false when the user interrupts. Throws Failure when the port cannot be had.
bool probe(Examination &examination, const Plan &plan, const Log &log);

struct Finding {
    ErrorCode verdict; // or "healthy"
    std::string message;
    std::string command;  // the line to type; empty when nothing can be typed
    std::size_t rank = 0; // the smaller, the more certain
};

using Check = std::optional<Finding> (*)(const Evidence &, const Examination &);

// Whether a device that answered has another way to this host than broadcasts.
std::optional<Finding> checkDevices(const Evidence &evidence, const Examination &examination);

// The network that a discovery reply says its device is in; 24 bits when it does not tell its mask.
Subnet networkOf(const Record &device);

std::string chained(const std::set<std::string> &lines); // as one line for the shell

// What stands in the way on one interface; the verdict "healthy" when nothing does.
Finding diagnose(const Evidence &evidence, const Examination &examination);

// The most certain cause of all, and its interface (null when there is none).
std::pair<Finding, const Evidence *> conclude(const Examination &examination);

} // namespace vxpctl

#endif
