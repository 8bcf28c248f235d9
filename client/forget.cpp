// SPDX-License-Identifier: Apache-2.0
//
// forget: devices that are gone are no longer missed.
#include "client/commands.h"

#include "client/cache.h"
#include "client/target.h"

namespace vxpctl
{
namespace
{

ExitCode forget(const Options &options, Writer &writer, const Log &log)
{
    const bool all = options.given("--all");
    if (all != options.targets.empty())
        throw Failure(ExitCode::usage, {"usage", "name the devices to forget, or say --all", ""});
    const DeviceCache cache(options, log);
    std::vector<std::pair<std::string, Target>> targets;
    for (const std::string &text : options.targets)
        targets.emplace_back(text, parseTarget(text));
    const auto gone = cache.forget([&](const Record &device) {
        return all || std::any_of(targets.begin(), targets.end(),
                                  [&device](const auto &target) { return target.second.matches(device); });
    });
    for (const Record &device : gone)
        writer.device(
            {{"mac", device["mac"]}, {"ip", device["ip"]}, {"name", device["name"]}, {"result", "forgotten"}});
    bool unknown = false;
    for (const auto &[text, target] : targets)
        if (std::none_of(gone.begin(), gone.end(), [&t = target](const Record &device) { return t.matches(device); })) {
            writer.error({"no_device", "no device that was seen before is '" + text + "'", ""});
            unknown = true;
        }
    return !unknown ? ExitCode::done : gone.empty() ? ExitCode::noDevice : ExitCode::partly;
}

} // namespace

Command forgetCommand()
{
    Command command{
        {"forget", {{"NAME", "name"}, {"MAC", "mac"}, {"ADDRESS", "ip"}, {"RESULT", "result"}}},
        "Stop missing a device that is gone",
        "discover remembers the devices that it sees, and tells which of them do not answer. Nothing is sent.",
        Options{},
        forget,
        CommandKind::local,
        {{"--all", "", "Every device"}}};
    command.operand = "TARGET";
    command.operandHelp = "Devices, each a MAC address, an IPv4 address or a name";
    return command;
}

} // namespace vxpctl
