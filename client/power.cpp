// SPDX-License-Identifier: Apache-2.0
//
// save, reboot, reset.
#include "client/commands.h"

#include "client/session.h"
#include "client/udp_socket.h"

#include <charconv>
#include <cmath>

namespace vxpctl
{
namespace
{

constexpr double pollTime = 0.4;                      // seconds to wait for a device to report itself
constexpr double downTime = 1.5;                      // seconds of silence that mean that it went down
constexpr double defaultWait = 180;                   // seconds until it has to be back
constexpr auto goDownTime = std::chrono::seconds(30); // time in which it has to begin

Record done(const Session &session)
{
    Record record = session.result();
    record["result"] = accepted;
    return record;
}

double waitSeconds(const Options &options)
{
    const auto text = options.value("--wait");
    double seconds = defaultWait;
    if (!text)
        return seconds;
    const auto [pEnd, error] = std::from_chars(text->data(), text->data() + text->size(), seconds);
    if (error != std::errc() || *pEnd || !(seconds >= 1 && seconds <= 86400))
        throw Failure(ExitCode::usage, {"usage", "'" + *text + "' is no time from 1 to 86400 seconds (--wait)", ""});
    return seconds;
}

// Follows the device down and up again by asking it to report itself; a lost answer does not make it down.
void awaitReturn(Session &session, Record &record)
{
    const auto start = Clock::now(), end = start + duration(waitSeconds(session.options()));
    auto latestAnswer = start;
    bool down = false;
    while (Clock::now() < end) {
        const auto asked = Clock::now();
        const auto device = lookAgain(session.device(), pollTime, 1, session.log());
        if (device && down) {
            record["ip"] = device->identity["ip"];
            record["name"] = device->identity["name"];
            record["version"] = device->identity["version"];
            record["seconds"] = std::round(std::chrono::duration<double>(Clock::now() - start).count() * 10) / 10;
            record["result"] = verified;
            return;
        }
        if (device)
            latestAnswer = asked;
        down = down || Clock::now() - latestAnswer > duration(downTime);
        if (!down && Clock::now() - start > goDownTime)
            break;
    }
    if (!down)
        throw session.failure(ExitCode::notVerified, "not_verified", "accepted the request, but has not gone down",
                              "look at its log, or wait longer and ask again");
    throw session.failure(ExitCode::noAnswer, "not_back", "has not come back in time",
                          "give more time with --wait; after a reset its address may have changed: vxpctl discover");
}

Record restart(Session &session, std::uint16_t uCode)
{
    session.change(uCode);
    Record record = done(session);
    record["version"] = session.device().identity["version"];
    record["seconds"] = nullptr;
    if (!session.options().given("--no-wait"))
        awaitReturn(session, record);
    return record;
}

ExitCode runSave(const Options &options, Writer &writer, const Log &log)
{
    return administer(options, writer, log, {[](Session &session) {
                          session.change(VXP_OP_COMMIT_SETTINGS);
                          return done(session);
                      }});
}

ExitCode runReboot(const Options &options, Writer &writer, const Log &log)
{
    waitSeconds(options);
    Task task{[](Session &session) { return restart(session, VXP_OP_REBOOT); }, false};
    task.question = "Reboot";
    return administer(options, writer, log, task);
}

ExitCode runReset(const Options &options, Writer &writer, const Log &log)
{
    waitSeconds(options);
    const bool keep = options.given("--keep-address");
    const std::uint16_t uCode = keep ? VXP_OP_FACTORY_RESET_WITHOUT_IP : VXP_OP_FACTORY_RESET;
    Task task{[uCode](Session &session) { return restart(session, uCode); }};
    task.question = keep ? "Restore the factory settings, all but a static address, of"
                         : "Restore the factory settings, the address included, of";
    if (keep)
        task.warnings = {"an address that came by DHCP is not kept"};
    return administer(options, writer, log, task);
}

} // namespace

std::vector<Command> powerCommands()
{
    const std::vector<Column> columns{{"NAME", "name"}, {"MAC", "mac"}, {"ADDRESS", "ip"}, {"RESULT", "result"}};
    std::vector<Column> restarted = columns;
    restarted.insert(restarted.end(), {{"VERSION", "version"}, {"SECONDS", "seconds"}});
    const Setting noWait{"--no-wait", "", "Do not wait until the device is back"};
    const Setting wait{"--wait", "SECONDS", "How long to wait for it (default: 180)"};
    const auto device = CommandKind::device;
    return {
        {{"save", columns},
         "Make the running configuration the one that a device starts with",
         "Without it, changes are lost at the next reboot.",
         deviceDefaults(),
         runSave,
         device},
        {{"reboot", restarted},
         "Restart a device, and say when it is back",
         "Needs no password. What was not saved is lost.",
         deviceDefaults(),
         runReboot,
         device,
         {noWait, wait}},
        {{"reset", restarted},
         "Restore the factory settings of a device",
         "Every setting is lost; with --keep-address, a static address stays.",
         deviceDefaults(),
         runReset,
         device,
         {{"--keep-address", "", "Keep the static address, mask and gateway"}, noWait, wait}},
    };
}

} // namespace vxpctl
