// SPDX-License-Identifier: Apache-2.0
//
// The devices that were seen before, so that discovery can tell which of them did not answer.
#ifndef VXP_CLIENT_CACHE_H
#define VXP_CLIENT_CACHE_H

#include "client/interfaces.h"
#include "client/log.h"
#include "client/options.h"
#include "client/record.h"

#include <functional>
#include <string>
#include <vector>

namespace vxpctl
{

// A JSON file: {"schema": "vxpctl-devices/1", "devices": [{"mac", "ip", "name", "model", "version", "seen",
// "networks"}]}, "seen" in seconds since 1970, "networks" as networkNames has them. It is replaced whole, under a lock,
// so that clients may run at once. It is a convenience: a file that is damaged counts as empty, one that cannot be
// written is told to the log, and no command fails for it.
class DeviceCache
{
public:
    // In $XDG_CACHE_HOME or ~/.cache; nowhere with --no-cache, without a home, or in somebody else's home (sudo).
    DeviceCache(const Options &options, const Log &log);
    DeviceCache(std::string folder, const Log &log) : m_folder(std::move(folder)), m_log(log) {}

    std::vector<Record> devices() const;

    // Those that were last seen on one of these interfaces, while it was in the same network as now.
    std::vector<Record> devicesOn(const std::vector<Interface> &interfaces) const;

    // Adds discovery's records, and forgets what was not seen for a long time.
    void remember(const std::vector<Record> &found, const std::vector<Interface> &interfaces) const;

    // Those that were there. Throws Failure when the file cannot be written.
    std::vector<Record> forget(const std::function<bool(const Record &)> &unwanted) const;

private:
    bool update(const std::function<void(std::vector<Record> &)> &change) const;

    std::string m_folder; // empty: no cache
    const Log &m_log;
};

// "eth0 10.1.2.0/24" for each of its subnets; "eth0" for an interface without one.
std::vector<std::string> networkNames(const Interface &interface);

} // namespace vxpctl

#endif
