// SPDX-License-Identifier: Apache-2.0
//
// vlan set, snmp set: what can be set, but not be read.
#include "client/commands.h"

#include "client/session.h"

#include <charconv>

namespace vxpctl
{
namespace
{

constexpr unsigned highestVlan = 4094; // IEEE 802.1Q

Record done(const Session &session)
{
    Record record = session.result();
    record["result"] = accepted;
    return record;
}

ExitCode runVlan(const Options &options, Writer &writer, const Log &log)
{
    const std::string text = options.value("--id").value();
    unsigned id = 0;
    const auto [pEnd, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    if (error != std::errc() || *pEnd || id < 1 || id > highestVlan)
        throw Failure(ExitCode::usage, {"usage", "'" + text + "' is no VLAN id, 1 to 4094 (--id)", ""});
    Task task{[id](Session &session) {
        VLAN_Request body{};
        body.uVLAN.put(id);
        session.change(VXP_OP_VLAN_CONFIG, body);
        return done(session);
    }};
    task.question = "Apply the network settings again, with another management VLAN, on";
    task.warnings = {"devices known today apply their network settings and save them, but do not keep the VLAN id"};
    return administer(options, writer, log, task);
}

// Both at once, from two lines or two questions: the wire sets both, and neither can be read.
void putCommunities(SNMP_Request &body, const Options &options)
{
    std::string names[2];
    if (const auto path = options.value("--communities-file")) {
        const std::string text = readPrivateFile(*path);
        const std::size_t first = text.find('\n');
        names[0] = text.substr(0, first);
        if (first != text.npos)
            names[1] = text.substr(first + 1, text.find('\n', first + 1) - first - 1);
    } else {
        SecretSource source{"read-only community"};
        source.fileOption = "--communities-file";
        names[0] = readSecret(source);
        source.what = "read-write community";
        names[1] = readSecret(source);
    }
    if (!putText(body.strReadOnly, names[0], true) || !putText(body.strReadWrite, names[1], true))
        throw Failure(ExitCode::usage, {"too_long", "a community name has more than 32 bytes", ""});
}

ExitCode runSnmp(const Options &options, Writer &writer, const Log &log)
{
    SNMP_Request body{};
    body.ucState = options.value("--state") == "on";
    if (!options.dryRun)
        putCommunities(body, options);
    Task task{[&body](Session &session) {
                  session.change(VXP_OP_SNMP_CONFIG, body);
                  return done(session);
              },
              false};
    task.warnings = {"both community names are replaced, and the device saves its whole running configuration"};
    return administer(options, writer, log, task);
}

} // namespace

std::vector<Command> serviceCommands()
{
    const std::vector<Column> columns{{"NAME", "name"}, {"MAC", "mac"}, {"ADDRESS", "ip"}, {"RESULT", "result"}};
    return {
        {{"vlan set", columns},
         "Set the management VLAN",
         "Devices cannot be asked for it: the result is what they answer.",
         deviceDefaults(),
         runVlan,
         CommandKind::device,
         {{"--id", "ID", "VLAN id, 1 to 4094", {}, true}}},
        {{"snmp set", columns},
         "Switch SNMP on or off, and set its community names",
         "Needs no password. Devices cannot be asked for these settings: the result is what they answer.",
         deviceDefaults(),
         runSnmp,
         CommandKind::device,
         {{"--state", "on|off", "Whether the SNMP agent runs", {"on", "off"}, true},
          {"--communities-file", "FILE",
           "Read-only and read-write community, a line each, from a file that only you can read; otherwise asked "
           "for"}}},
    };
}

} // namespace vxpctl
