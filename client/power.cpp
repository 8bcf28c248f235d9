// SPDX-License-Identifier: Apache-2.0
//
// save, reboot, reset.
#include "client/commands.h"

#include "client/restart.h"

#include <optional>

namespace vxpctl
{
namespace
{

Record done(const Session &session)
{
    Record record = session.result();
    record["result"] = accepted;
    return record;
}

constexpr double defaultWait = 180; // seconds until a device has to be back

Record restart(Session &session, std::uint16_t uCode)
{
    const bool waits = !session.options().given("--no-wait");
    std::optional<Failure> unanswered;
    try {
        session.change(uCode);
    } catch (const Failure &failure) {
        // Only the answer may be lost: whether the device goes down tells.
        if (failure.exitCode() != ExitCode::noAnswer || !waits)
            throw;
        unanswered = failure;
    }
    Record record = done(session);
    record["version"] = session.device().identity["version"];
    record["seconds"] = nullptr;
    if (!waits)
        return record;
    try {
        awaitReturn(session, record, numberOption(session.options(), "--wait", defaultWait, longestWait));
    } catch (const Failure &failure) {
        if (unanswered && failure.exitCode() == ExitCode::notVerified)
            throw *unanswered;
        throw;
    }
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
    numberOption(options, "--wait", defaultWait, longestWait);
    Task task{[](Session &session) { return restart(session, VXP_OP_REBOOT); }, false};
    task.question = "Reboot";
    return administer(options, writer, log, task);
}

ExitCode runReset(const Options &options, Writer &writer, const Log &log)
{
    numberOption(options, "--wait", defaultWait, longestWait);
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
