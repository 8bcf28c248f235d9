// SPDX-License-Identifier: Apache-2.0
//
// doctor: look for the reason why devices are not found.
#include "client/doctor.h"

#include "client/commands.h"

#include <algorithm>

namespace vxpctl
{
namespace
{

constexpr double shortTime = 2.5; // seconds
constexpr int rounds = 5;

Record recordOf(const Evidence &evidence, const Examination &examination)
{
    const Interface &interface = evidence.interface;
    const bool sighted = examination.blindness.empty();
    Record record{{"interface", interface.name},
                  {"state", !interface.isUp()     ? "down"
                            : interface.hasLink() ? "up"
                                                  : "no link"},
                  {"addresses", Record::array()},
                  {"sent", evidence.sent},
                  {"send_error", evidence.sendError ? Record(strerror(evidence.sendError)) : Record()},
                  {"seen_out", sighted ? Record(evidence.left) : Record()},
                  {"seen_in", sighted ? Record(evidence.seen.replies) : Record()},
                  {"received", evidence.received.replies},
                  {"devices", evidence.received.devices.size()},
                  {"foreign", Record::array()},
                  {"rp_filter", evidence.reversePath()},
                  {"rp_filter_all", evidence.reversePathAll},
                  {"rp_filter_own", evidence.reversePathOwn},
                  {"default_route", evidence.defaultRoute},
                  {"verdict", std::string_view(diagnose(evidence, examination).verdict)}};
    for (const Subnet &subnet : interface.subnets)
        record["addresses"].push_back(subnet.text());
    for (const Heard *pHeard : {&evidence.seen, &evidence.received})
        for (const IPv4_Address &source : pHeard->sources)
            if (std::none_of(interface.subnets.begin(), interface.subnets.end(),
                             [&source](const Subnet &subnet) { return subnet.contains(source); }) &&
                std::count(record["foreign"].begin(), record["foreign"].end(), dotted(source)) == 0)
                record["foreign"].push_back(dotted(source));
    return record;
}

Record hostRecord(const Examination &examination)
{
    return {{"packet_socket_problem", examination.blindness.empty() ? Record() : Record(examination.blindness)},
            {"rp_filter_drops", {{"before", examination.dropsBefore}, {"after", examination.dropsAfter}}},
            {"firewall", !examination.firewall.readable()
                             ? Record()
                             : Record{{"in", examination.firewall.dropping(Firewall::Way::in)},
                                      {"out", examination.firewall.dropping(Firewall::Way::out)}}}};
}

void showHost(const Examination &examination, Writer &writer)
{
    writer.member("host", hostRecord(examination));
    if (!examination.blindness.empty())
        writer.note("packet socket: " + examination.blindness + "; what this host drops cannot be seen");
    const auto drops = examination.dropsAfter - examination.dropsBefore;
    writer.note("reverse-path filter: " + (drops ? std::to_string(drops) + " dropped" : "nothing dropped") +
                " meanwhile (IPReversePathFilter " + std::to_string(examination.dropsBefore) + " before, " +
                std::to_string(examination.dropsAfter) + " after)");
    const auto &chains = examination.firewall.dropping(Firewall::Way::in);
    writer.note(!examination.firewall.readable() ? "firewall: could not be looked at, which takes root and nft"
                : chains.empty()                 ? "firewall: nftables drops nothing that comes in"
                                                 : "firewall: may drop what comes in: " + joined(chains));
}

Record conclusionRecord(const Finding &finding, const Record &interface)
{
    return {{"verdict", std::string_view(finding.verdict)},
            {"interface", interface},
            {"message", finding.message},
            {"command", finding.command.empty() ? Record() : Record(finding.command)}};
}

ExitCode show(const Examination &examination, Writer &writer)
{
    for (const Evidence &evidence : examination.interfaces)
        writer.device(recordOf(evidence, examination));
    showHost(examination, writer);
    auto [finding, pEvidence] = conclude(examination);
    if (pEvidence) {
        writer.error({finding.verdict, finding.message, finding.command});
    } else {
        std::set<std::string> devices;
        for (const Evidence &evidence : examination.interfaces)
            for (const auto &[mac, device] : evidence.received.devices)
                devices.insert(mac);
        finding.message =
            "healthy: every request and answer passes; devices that answered: " + std::to_string(devices.size());
        writer.note(finding.message);
    }
    writer.member("conclusion", conclusionRecord(finding, pEvidence ? Record(pEvidence->interface.name) : Record()));
    return finding.verdict == "healthy"     ? ExitCode::done
           : finding.verdict == "no_answer" ? ExitCode::noDevice
                                            : ExitCode::localNetwork;
}

// Also those that are down: that is what a doctor is asked about.
std::vector<Evidence> candidates(const std::vector<std::string> &named)
{
    const auto all = listInterfaces();
    std::vector<Evidence> chosen;
    for (const Interface &interface : all)
        if (named.empty() ? interface.canBroadcast() && !interface.port
                          : std::count(named.begin(), named.end(), interface.name))
            chosen.push_back({interface});
    for (const std::string &name : named)
        if (const auto found = std::find_if(all.begin(), all.end(), [&](const Interface &i) { return i.name == name; });
            found == all.end() || !found->canBroadcast())
            chooseInterfaces(all, {name}); // says what is wrong with it
    if (chosen.empty())
        chooseInterfaces(all, {});
    return chosen;
}

ExitCode doctor(const Options &options, Writer &writer, const Log &log)
{
    try {
        Examination examination{candidates(options.interfaces), options.interfaces};
        const Plan plan{duration(options.timeout > 0 ? options.timeout : shortTime),
                        options.tries ? options.tries : rounds};
        const bool complete = probe(examination, plan, log);
        const ExitCode code = show(examination, writer);
        return complete ? code : ExitCode::interrupted;
    } catch (const Failure &failure) {
        const Error &error = failure.error();
        writer.member("conclusion", conclusionRecord({error.code, error.message, ""}, {}));
        throw;
    }
}

} // namespace

Command doctorCommand()
{
    return {{"doctor",
             {{"INTERFACE", "interface"},
              {"STATE", "state"},
              {"ADDRESS", "addresses"},
              {"SENT", "sent"},
              {"SEEN OUT", "seen_out"},
              {"SEEN IN", "seen_in"},
              {"RECEIVED", "received"},
              {"DEVICES", "devices"},
              {"FOREIGN", "foreign"},
              {"RP_FILTER", "rp_filter"},
              {"VERDICT", "verdict"}},
             false,
             "interface"},
            "Look for the reason why devices are not found",
            "Asks as discover does, follows requests and answers through this host, and names the most certain\n"
            "cause of what is missing, with the line to type against it. Nothing is changed. Sees most as root.",
            Options{},
            doctor,
            CommandKind::probe};
}

} // namespace vxpctl
