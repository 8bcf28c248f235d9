// SPDX-License-Identifier: Apache-2.0
//
// Which device is meant: a MAC address, an IPv4 address or a name, told apart by their form or forced with "mac:",
// "ip:" or "name:".
#ifndef VXP_CLIENT_TARGET_H
#define VXP_CLIENT_TARGET_H

#include "client/failure.h"
#include "client/fields.h"
#include "client/log.h"
#include "client/options.h"

#include <string>
#include <vector>

namespace vxpctl
{

struct Device {
    Record identity; // as discovery tells it
    MAC_Address mac{};
    IPv4_Address ip{};
    std::vector<unsigned> interfaces{}; // indexes of those on which it was heard

    explicit Device(const Record &record);
    std::string macText() const { return identity["mac"]; }
    std::string label() const; // for people: name, MAC and address
};

struct Target {
    std::string field; // of the discovery record: "mac", "ip" or "name"
    std::string value; // as the record has it
    bool matches(const Record &record) const { return record[field] == value; }
};

Target parseTarget(const std::string &text); // throws Failure (usage)

struct Found {
    std::vector<Device> devices{}; // each once, in the order of the targets
    std::vector<Error> errors{};   // one for each target that is no device, or several
};

// Finds the devices that the command line names, by discovery. Throws Failure when nothing can be asked.
Found findTargets(const Options &options, const Log &log);

// The device with this MAC address as it answers now; nothing when it does not within so many seconds.
std::optional<Device> lookAgain(const Device &device, double seconds, int tries, const Log &log);

} // namespace vxpctl

#endif
