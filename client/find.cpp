// SPDX-License-Identifier: Apache-2.0
//
// discover and neighbors: ask every device, show those that answer.
#include "client/commands.h"

#include "client/cache.h"
#include "client/survey.h"

#include <cstdio>
#include <map>
#include <set>

namespace vxpctl
{
namespace
{

std::string seconds(Clock::duration duration)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", std::chrono::duration<double>(duration).count());
    return text;
}

std::string plural(std::size_t count, const std::string &noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string summary(const std::vector<Record> &devices, Clock::duration elapsed)
{
    std::set<std::string> interfaces;
    for (const Record &device : devices)
        interfaces.insert(device["interfaces"].begin(), device["interfaces"].end());
    return plural(devices.size(), "device") + " answered on " + plural(interfaces.size(), "interface") + " in " +
           seconds(elapsed);
}

Error noDevice(const std::vector<Interface> &interfaces, Clock::duration elapsed)
{
    std::string names, unplugged;
    for (const Interface &interface : interfaces) {
        names += (names.empty() ? "" : ", ") + interface.name;
        if (!interface.hasLink())
            unplugged += interface.name + " has no link; ";
    }
    return {"no_device", "no device answered on " + names + " within " + seconds(elapsed),
            unplugged + "'vxpctl doctor' looks for the reason"};
}

std::string label(const Record &device)
{
    return device["name"].get<std::string>() + " (" + device["mac"].get<std::string>() + ")";
}

// Devices, or a device and this host, that have the same address disturb each other.
std::vector<Error> addressConflicts(const std::vector<Record> &devices, const std::vector<Interface> &interfaces)
{
    std::map<std::string, std::vector<std::string>> owners;
    for (const Interface &interface : interfaces)
        for (const Subnet &subnet : interface.subnets)
            owners[subnet.addressText()].push_back("this host, on " + interface.name);
    for (const Record &device : devices)
        if (device["ip"].is_string())
            owners[device["ip"]].push_back(label(device));
    std::vector<Error> errors;
    for (const auto &[address, names] : owners)
        if (names.size() > 1)
            errors.push_back({"address_conflict", address + " is the address of " + joined(names),
                              "give one of them another: vxpctl network set MAC --ip ADDRESS"});
    return errors;
}

// Tells which of the devices that were seen before have not answered.
void showMissing(const Survey &survey, const std::vector<Record> &known, Writer &writer)
{
    std::size_t missing = 0;
    for (const Record &device : known) {
        if (survey.heard(device))
            continue;
        missing++;
        const std::string network = device["networks"][0];
        writer.error({"not_answered",
                      label(device) + " did not answer; last seen " + timeText(device["seen"].get<std::time_t>()) +
                          " on " + network.substr(0, network.find(' ')) + ", " +
                          (device["ip"].is_string() ? device["ip"].get<std::string>() : "without an address"),
                      "", device["mac"]});
    }
    if (!known.empty())
        writer.note(std::to_string(known.size() - missing) + " of " + std::to_string(known.size()) + " known answered" +
                    (missing ? "; 'vxpctl forget MAC' drops one that is gone" : ""));
}

void show(const Survey &survey, Writer &writer, const Log &log)
{
    for (const Record &device : survey.devices())
        writer.device(device);
    for (const Error &error : survey.sendErrors())
        writer.error(error);
    if (const std::string noise = survey.noise(); !noise.empty())
        log(noise);
}

ExitCode find(const Query &query, const Options &options, Writer &writer, const Log &log)
{
    const auto interfaces = chooseInterfaces(listInterfaces(), options.interfaces);
    Survey survey(query, interfaces, log);
    const auto start = Clock::now();
    const DeviceCache cache(options, log);
    const std::vector<Record> known = cache.devicesOn(interfaces);
    const bool complete = survey.run(searchPlan(options), {[&] { return survey.heardAll(known); }});
    const auto elapsed = Clock::now() - start;
    const std::vector<Record> devices = survey.devices();
    cache.remember(devices, interfaces);
    show(survey, writer, log);
    for (const Error &error : addressConflicts(devices, interfaces))
        writer.error(error);

    if (!complete) {
        writer.error({"interrupted", "interrupted after " + seconds(elapsed) + ": devices may be missing", ""});
        return ExitCode::interrupted;
    }
    if (survey.sendErrors().size() == interfaces.size())
        return ExitCode::localNetwork;
    if (devices.empty())
        writer.error(noDevice(interfaces, elapsed));
    showMissing(survey, known, writer);
    if (devices.empty())
        return ExitCode::noDevice;
    writer.note(summary(devices, elapsed));
    return ExitCode::done;
}

template <std::uint16_t uOP_Code, typename Body>
ExitCode findBy(const Options &options, Writer &writer, const Log &log)
{
    return find({uOP_Code, bodyFormat<Body>}, options, writer, log);
}

} // namespace

Command discoverCommand()
{
    return {{"discover",
             {{"NAME", "name"},
              {"MODEL", "model"},
              {"ADDRESS", "ip"},
              {"MAC", "mac"},
              {"VERSION", "version"},
              {"DHCP", "dhcp"},
              {"INTERFACE", "interfaces"}}},
            "Find the devices on this host's network segments",
            "Asks every device on this host's network segments to describe itself. Devices whose address\n"
            "belongs to another network answer too.",
            Options{},
            findBy<VXP_OP_DISCOVER, DiscoverReply>};
}

Command neighborsCommand()
{
    return {{"neighbors",
             {{"NAME", "name"},
              {"PRODUCT", "product"},
              {"CATEGORY", "category"},
              {"ADDRESS", "ip"},
              {"MAC", "mac"},
              {"VERSION", "version"},
              {"INTERFACE", "interfaces"}}},
            "Ask every device for its neighbour record, the short form of discovery",
            "Asks every device on this host's network segments for its neighbour record, which tells less than\n"
            "discovery and has half the size.",
            Options{},
            findBy<VXP_OP_QUERY_NEIGHBOR, NeighborReply>};
}

} // namespace vxpctl
