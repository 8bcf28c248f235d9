// SPDX-License-Identifier: Apache-2.0
//
// Devices that answer broadcasts and cannot be reached otherwise.
#include "client/doctor.h"

#include "client/failure.h"
#include "client/route.h"
#include "client/target.h"
#include "client/transfer.h"

#include <algorithm>
#include <bit>

namespace vxpctl
{
namespace
{

bool isInside(const Interface &interface, const IPv4_Address &address)
{
    return std::any_of(interface.subnets.begin(), interface.subnets.end(),
                       [&address](const Subnet &subnet) { return subnet.contains(address); });
}

IPv4_Address addressOf(const Record &device, const char *pField = "ip")
{
    return device[pField].is_string() ? parseIPv4(device[pField]).value_or(IPv4_Address{}) : IPv4_Address{};
}

// The last address of the device's network that neither the device nor its gateway has.
std::string freeAddress(const Record &device)
{
    const Subnet network = networkOf(device);
    Subnet candidate{network.address, network.length};
    for (unsigned bit = network.length; bit < 32; bit++)
        candidate.address[bit / 8] |= static_cast<std::uint8_t>(0x80 >> bit % 8);
    do
        candidate.address[3]--; // the first time, from the broadcast address
    while (candidate.address == network.address || candidate.address == addressOf(device, "gateway"));
    return candidate.text();
}

std::optional<Finding> isOwnAddress(const Evidence &evidence, const Examination &)
{
    for (const auto &[mac, device] : evidence.received.devices)
        if (const auto route = routeTo(addressOf(device)); route && route->local) {
            const std::string address = freeAddress(device);
            return Finding{"address_conflict",
                           mac + " on " + evidence.interface.name + " has this host's own address, " +
                               dotted(addressOf(device)),
                           "vxpctl network set " + mac + " --ip " + address.substr(0, address.find('/'))};
        }
    return std::nullopt;
}

// Whether a packet to the device goes where the device was heard.
bool isReached(const IPv4_Address &address, const std::string &mac, const Examination &examination)
{
    const auto route = routeTo(address);
    return route && std::any_of(examination.interfaces.begin(), examination.interfaces.end(), [&](const Evidence &one) {
               return one.interface.index == route->index && one.received.devices.contains(mac);
           });
}

std::optional<Finding> isMisrouted(const Evidence &evidence, const Examination &examination)
{
    const std::string &name = evidence.interface.name;
    std::set<std::string> lines;
    for (const auto &[mac, device] : evidence.received.devices)
        if (const IPv4_Address address = addressOf(device);
            isInside(evidence.interface, address) && !isReached(address, mac, examination))
            lines.insert("ip route add " + dotted(address) + "/32 dev " + name);
    if (lines.empty())
        return std::nullopt;
    return Finding{"other_route",
                   std::to_string(lines.size()) + " that answered on " + name +
                       " cannot be reached there: this host sends to their addresses through another interface",
                   chained(lines)};
}

std::optional<Finding> isForeign(const Evidence &evidence, const Examination &)
{
    for (const auto &[mac, device] : evidence.received.devices) {
        Record heard = device;
        heard["interfaces"] = {evidence.interface.name};
        const Device found(heard);
        if (isInside(evidence.interface, found.ip) || found.ip == IPv4_Address{})
            continue;
        try {
            addressFor(found);
        } catch (const Failure &) {
            return Finding{"foreign_subnet",
                           found.label() + " answers on " + evidence.interface.name +
                               ", but this host has no address in " + networkOf(device).network() +
                               ": settings can be changed, files cannot be transferred",
                           "ip address add " + freeAddress(device) + " dev " + evidence.interface.name};
        }
    }
    return std::nullopt;
}

} // namespace

Subnet networkOf(const Record &device)
{
    Subnet subnet{addressOf(device), 24};
    if (const IPv4_Address mask = addressOf(device, "mask"); mask != IPv4_Address{}) {
        subnet.length = 0;
        for (const std::uint8_t byte : mask)
            subnet.length += static_cast<unsigned>(std::popcount(byte));
    }
    return subnet;
}

std::string chained(const std::set<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines)
        text += (text.empty() ? "" : " && ") + line;
    return text;
}

std::optional<Finding> checkDevices(const Evidence &evidence, const Examination &examination)
{
    for (const Check check : {isOwnAddress, isMisrouted, isForeign})
        if (auto finding = check(evidence, examination))
            return finding;
    return std::nullopt;
}

} // namespace vxpctl
