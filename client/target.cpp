// SPDX-License-Identifier: Apache-2.0
#include "client/target.h"

#include "client/cache.h"
#include "client/survey.h"

#include <algorithm>
#include <net/if.h>

namespace vxpctl
{
namespace
{

std::string lowerCaseMac(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return c == '-' ? ':' : static_cast<char>(tolower(c)); });
    return text;
}

Failure usage(const std::string &message)
{
    return Failure(ExitCode::usage, {"usage", message,
                                     "a target is a MAC address, an IPv4 address or a name; mac:, ip: or name: before "
                                     "it forces one, and --all means every device"});
}

std::vector<std::string> labels(const std::vector<Device> &devices)
{
    std::vector<std::string> texts;
    for (const Device &device : devices)
        texts.push_back(device.label());
    return texts;
}

// One target's device into found, or why there is none.
void resolve(const std::string &text, const std::vector<Device> &all, Found &found)
{
    const Target target = parseTarget(text);
    std::vector<Device> fitting;
    for (const Device &device : all)
        if (target.matches(device.identity))
            fitting.push_back(device);
    if (fitting.empty()) {
        found.errors.push_back({"no_device", "no device answered that is '" + text + "'",
                                "'vxpctl discover' shows those that answer; give more time with --timeout"});
    } else if (fitting.size() > 1) {
        found.errors.push_back({"ambiguous_target", "'" + text + "' fits several devices: " + joined(labels(fitting)),
                                "name the one that you mean by its MAC address"});
    } else if (std::none_of(found.devices.begin(), found.devices.end(),
                            [&](const Device &device) { return device.mac == fitting[0].mac; })) {
        found.devices.push_back(fitting[0]);
    }
}

std::vector<Device> toDevices(const Survey &survey)
{
    const std::vector<Record> records = survey.devices();
    return {records.begin(), records.end()};
}

Failure interrupted()
{
    return Failure(ExitCode::interrupted, {"interrupted", "interrupted while devices were looked for", ""});
}

} // namespace

Device::Device(const Record &record) : identity(record)
{
    mac = parseMac(record["mac"]).value();
    if (record["ip"].is_string())
        ip = parseIPv4(record["ip"]).value();
    for (const Record &name : record["interfaces"])
        if (const unsigned index = if_nametoindex(name.get_ref<const std::string &>().c_str()))
            interfaces.push_back(index);
}

std::string Device::label() const
{
    const std::string name = identity["name"], address = identity["ip"].is_string() ? identity["ip"] : "no address";
    return (name.empty() ? "unnamed" : name) + " (" + macText() + ", " + address + ")";
}

Target parseTarget(const std::string &text)
{
    const auto after = [&text](std::string_view prefix) {
        return text.starts_with(prefix) ? std::optional(text.substr(prefix.size())) : std::nullopt;
    };
    const auto mac = after("mac:"), ip = after("ip:"), name = after("name:");
    if ((mac && !parseMac(*mac)) || (ip && !parseIPv4(*ip)) || (name && name->empty()) || text.empty())
        throw usage("'" + text + "' is no target");
    if (mac || (!ip && !name && parseMac(text)))
        return {"mac", lowerCaseMac(mac.value_or(text))};
    if (ip || (!name && parseIPv4(text)))
        return {"ip", ip.value_or(text)};
    return {"name", validUtf8(name.value_or(text))};
}

Found findTargets(const Options &options, const Log &log)
{
    if (options.all != options.targets.empty())
        throw usage(options.all ? "--all and a target exclude each other"
                                : "which device is meant? A target is missing");
    std::vector<Target> targets;
    for (const std::string &text : options.targets)
        targets.push_back(parseTarget(text));
    const auto interfaces = chooseInterfaces(listInterfaces(), options.interfaces);
    Survey survey({VXP_OP_DISCOVER, bodyFormat<DiscoverReply>}, interfaces, log);
    const DeviceCache cache(options, log);
    const auto known = cache.devicesOn(interfaces);
    const auto allFound = [&] {
        if (options.all)
            return survey.heardAll(known);
        const auto records = survey.devices();
        return std::all_of(targets.begin(), targets.end(), [&](const Target &target) {
            return std::any_of(records.begin(), records.end(), [&](const Record &r) { return target.matches(r); });
        });
    };
    if (!survey.run(searchPlan(options), {allFound, !options.all}))
        throw interrupted();
    cache.remember(survey.devices(), interfaces);
    if (const auto errors = survey.sendErrors(); errors.size() == interfaces.size())
        throw Failure(ExitCode::localNetwork, errors[0]);
    Found found;
    if (options.all)
        found.devices = toDevices(survey);
    for (const std::string &text : options.targets)
        resolve(text, toDevices(survey), found);
    if (options.all && found.devices.empty())
        found.errors.push_back({"no_device", "no device answered", "'vxpctl discover -v' tells more"});
    return found;
}

std::optional<Device> lookAgain(const Device &device, double seconds, int tries, const Log &log)
{
    const Record &names = device.identity["interfaces"]; // one that is plugged in again has another index
    std::vector<Interface> interfaces;
    for (const Interface &interface : listInterfaces())
        if (std::count(names.begin(), names.end(), interface.name))
            interfaces.push_back(interface);
    Survey survey({VXP_OP_DISCOVER, bodyFormat<DiscoverReply>}, interfaces, log);
    const auto find = [&]() -> std::optional<Device> {
        for (const Device &answered : toDevices(survey))
            if (answered.mac == device.mac)
                return answered;
        return std::nullopt;
    };
    if (!survey.run({duration(seconds), tries}, {[&] { return find().has_value(); }, true}))
        throw interrupted();
    return find();
}

} // namespace vxpctl
