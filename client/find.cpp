// SPDX-License-Identifier: Apache-2.0
//
// discover and neighbors: ask every device, show those that answer.
#include "client/commands.h"

#include "client/survey.h"

#include <cstdio>
#include <set>

namespace vxpctl
{
namespace
{

constexpr double defaultTimeout = 3.0; // seconds: an idle segment answers within milliseconds, a busy device in one
constexpr int defaultTries = 4;        // at 0, 0.4, 0.9 and 1.8 s

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
            unplugged + "check power and cabling, name the right interface with -i, and allow inbound UDP port " +
                std::to_string(VXP_REPLY_PORT) + " in this host's firewall"};
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
    const bool complete = survey.run(duration(options.timeout), options.tries);
    const auto elapsed = Clock::now() - start;
    show(survey, writer, log);

    if (!complete) {
        writer.error({"interrupted", "interrupted after " + seconds(elapsed) + ": devices may be missing", ""});
        return ExitCode::interrupted;
    }
    if (survey.sendErrors().size() == interfaces.size())
        return ExitCode::localNetwork;
    if (survey.devices().empty()) {
        writer.error(noDevice(interfaces, elapsed));
        return ExitCode::noDevice;
    }
    writer.note(summary(survey.devices(), elapsed));
    return ExitCode::done;
}

template <std::uint16_t uOP_Code, typename Body>
ExitCode findBy(const Options &options, Writer &writer, const Log &log)
{
    return find({uOP_Code, bodyFormat<Body>}, options, writer, log);
}

Options defaults()
{
    Options options;
    options.timeout = defaultTimeout;
    options.tries = defaultTries;
    return options;
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
            defaults(),
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
            defaults(),
            findBy<VXP_OP_QUERY_NEIGHBOR, NeighborReply>};
}

} // namespace vxpctl
