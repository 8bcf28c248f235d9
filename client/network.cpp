// SPDX-License-Identifier: Apache-2.0
//
// network get and set: name, addresses and DNS.
#include "client/commands.h"

#include "client/session.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <thread>

namespace vxpctl
{
namespace
{

constexpr const char *fields[] = {"dhcp", "mask",        "gateway",      "dns_mode", "dns",
                                  "ipv6", "ipv6_prefix", "ipv6_gateway", "ipv6_auto"};
constexpr double applyTime = 5;   // seconds that a device gets to apply new settings
constexpr double lookTimeout = 1; // seconds to wait for it to report itself

Failure usage(const std::string &message, const std::string &hint = {})
{
    return Failure(ExitCode::usage, {"usage", message, hint});
}

// What the user asked for: field by field as in a discovery record, and only what was given.
Record wantedFrom(const Options &options)
{
    Record wanted = Record::object();
    if (const auto name = options.value("--name"))
        wanted["name"] = validUtf8(*name);
    for (const char *pField : {"ip", "mask", "gateway"})
        if (const auto text = options.value(std::string("--") + pField)) {
            if (!parseIPv4(*text))
                throw usage("'" + *text + "' is no IPv4 address (--" + pField + ")");
            wanted[pField] = *text == "0.0.0.0" ? Record(nullptr) : Record(*text);
        }
    if (const auto dhcp = options.value("--dhcp"))
        wanted["dhcp"] = *dhcp == "on";
    else if (wanted.contains("ip"))
        wanted["dhcp"] = false;
    if (wanted.value("dhcp", false) && (wanted.contains("ip") || wanted.contains("mask") || wanted.contains("gateway")))
        throw usage("with --dhcp on, the device takes its address, mask and gateway from the server",
                    "leave out --ip, --mask and --gateway");
    return wanted;
}

void wantDns(const Options &options, Record &wanted)
{
    const auto text = options.value("--dns");
    if (!text)
        return;
    wanted["dns_mode"] = *text == "dhcp" ? "dhcp" : "static";
    if (*text == "dhcp")
        return;
    Record servers = Record::array();
    for (std::size_t begin = 0; begin <= text->size();) {
        const std::size_t end = std::min(text->find(',', begin), text->size());
        const std::string server = text->substr(begin, end - begin);
        if (!parseIPv4(server) || servers.size() == 2)
            throw usage("'" + *text + "' is neither \"dhcp\" nor one or two IPv4 addresses (--dns)");
        servers.push_back(server);
        begin = end + 1;
    }
    wanted["dns"] = servers;
}

void wantIPv6(const Options &options, Record &wanted)
{
    if (const auto text = options.value("--ipv6"); text && *text == "auto") {
        wanted["ipv6_auto"] = true;
    } else if (text) {
        const std::size_t slash = text->find('/');
        const std::string length = slash == text->npos ? "" : text->substr(slash + 1);
        unsigned uPrefix = 999;
        const auto [pEnd, error] = std::from_chars(length.data(), length.data() + length.size(), uPrefix);
        const auto address = parseIPv6(text->substr(0, slash));
        if (!address || error != std::errc() || *pEnd || uPrefix > 128)
            throw usage("'" + *text + "' is neither \"auto\" nor ADDRESS/LENGTH (--ipv6)");
        std::uint8_t bytes[16];
        putBytes(bytes, *address);
        wanted["ipv6_auto"] = false;
        wanted["ipv6"] = addressText(bytes);
        wanted["ipv6_prefix"] = uPrefix;
    }
    if (const auto text = options.value("--ipv6-gateway")) {
        const auto address = parseIPv6(*text);
        if (!address || !wanted.contains("ipv6"))
            throw usage("--ipv6-gateway takes an IPv6 address, beside a static --ipv6 ADDRESS/LENGTH");
        std::uint8_t bytes[16];
        putBytes(bytes, *address);
        wanted["ipv6_gateway"] = addressText(bytes);
    }
}

// The wire sets everything at once: what is not asked for goes back as the device reports it.
SetBasicInfoRequest presentValues(const DiscoverReply &now)
{
    SetBasicInfoRequest body{};
    std::memcpy(body.strSystemName, now.strSystemName, sizeof body.strSystemName);
    std::memcpy(body.ucIP, now.ucIP, sizeof body.ucIP);
    std::memcpy(body.ucMask, now.ucMask, sizeof body.ucMask);
    std::memcpy(body.ucGateway, now.ucGateway, sizeof body.ucGateway);
    std::memcpy(body.ucDNS1, now.ucDNS1, sizeof body.ucDNS1);
    std::memcpy(body.ucDNS2, now.ucDNS2, sizeof body.ucDNS2);
    std::memcpy(body.ucIP6, now.ucIP6, sizeof body.ucIP6);
    std::memcpy(body.ucGateway6, now.ucGateway6, sizeof body.ucGateway6);
    body.ucPrefix6 = now.ucPrefix6;
    body.ucManualDNS = now.ucDNS_Mode;
    body.ucDHCP = now.ucDHCP == 1 ? 1 : 0;
    body.uDHCP_Setting6 = now.ucAuto6;
    return body;
}

template <std::size_t size, typename Parse>
void apply(std::uint8_t (&field)[size], const Record &wanted, const char *pName, Parse parse)
{
    if (!wanted.contains(pName))
        return;
    putBytes(field, wanted[pName].is_string() ? parse(wanted[pName].get<std::string>()).value()
                                              : std::array<std::uint8_t, size>{});
}

void applyAll(SetBasicInfoRequest &body, const Record &wanted, const Options &options)
{
    if (const auto name = options.value("--name"))
        putSetting(body.strSystemName, *name, "the name");
    apply(body.ucIP, wanted, "ip", parseIPv4);
    apply(body.ucMask, wanted, "mask", parseIPv4);
    apply(body.ucGateway, wanted, "gateway", parseIPv4);
    apply(body.ucIP6, wanted, "ipv6", parseIPv6);
    apply(body.ucGateway6, wanted, "ipv6_gateway", parseIPv6);
    if (wanted.contains("dhcp"))
        body.ucDHCP = wanted["dhcp"] == true ? 1 : 0;
    if (wanted.contains("ipv6_auto"))
        body.uDHCP_Setting6 = wanted["ipv6_auto"] == true ? 1 : 0;
    if (wanted.contains("ipv6_prefix"))
        body.ucPrefix6 = wanted["ipv6_prefix"];
    if (!wanted.contains("dns_mode"))
        return;
    body.ucManualDNS = wanted["dns_mode"] == "static" ? 1 : 0;
    if (body.ucManualDNS) {
        const Record servers = wanted["dns"];
        putBytes(body.ucDNS1, parseIPv4(servers[0]).value());
        putBytes(body.ucDNS2, servers.size() > 1 ? parseIPv4(servers[1]).value() : IPv4_Address{});
    }
}

bool shows(const Record &actual, const Record &wanted)
{
    for (const auto &[name, value] : wanted.items())
        if (actual.value(name, Record()) != value)
            return false;
    return true;
}

// The device as it reports itself once it shows what was wanted, or at the end of the time.
std::optional<Device> watchApplied(Session &session, const Record &wanted)
{
    std::optional<Device> latest;
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(applyTime);
    do {
        if (auto answered = lookAgain(session.device(), lookTimeout, 3, session.log()))
            latest = std::move(answered);
        if (latest && shows(latest->identity, wanted))
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(100)); // between two looks
    } while (std::chrono::steady_clock::now() < end);
    return latest;
}

Record get(Session &session)
{
    Record record = session.result();
    for (const char *pField : fields)
        record[pField] = session.device().identity[pField];
    return record;
}

Record set(Session &session, const Record &wanted)
{
    SetBasicInfoRequest body = presentValues(session.read<DiscoverReply>(VXP_OP_DISCOVER));
    applyAll(body, wanted, session.options());
    std::optional<Failure> unanswered;
    try {
        session.change(VXP_OP_SET_BASIC_INFO, body);
    } catch (const Failure &failure) {
        // An answer that is lost cannot be asked for again at an address that is no longer the device's.
        if (failure.exitCode() != ExitCode::noAnswer)
            throw;
        unanswered = failure;
    }
    const auto latest = watchApplied(session, wanted);
    if (unanswered && !(latest && shows(latest->identity, wanted)))
        throw *unanswered;
    if (!latest)
        throw session.failure(ExitCode::notVerified, "not_verified", "accepted the change and has not answered since",
                              "its new address may not fit this network; 'vxpctl discover' finds it all the same");
    Record record = session.result();
    record["ip"] = latest->identity["ip"];
    record["name"] = latest->identity["name"];
    session.compare(record, wanted, latest->identity,
                    "addresses change only once the device has applied them; 'vxpctl network get' shows them then");
    return record;
}

ExitCode runGet(const Options &options, Writer &writer, const Log &log)
{
    return administer(options, writer, log, {get, false});
}

ExitCode runSet(const Options &options, Writer &writer, const Log &log)
{
    Record wanted = wantedFrom(options);
    wantDns(options, wanted);
    wantIPv6(options, wanted);
    if (wanted.empty())
        throw usage("nothing to set", "'vxpctl network set --help' lists what can be");
    SetBasicInfoRequest check{};
    applyAll(check, wanted, options);
    if ((options.all || options.targets.size() > 1) && (wanted.contains("ip") || wanted.contains("ipv6")))
        throw usage("several devices cannot have the same address");
    Task task{[wanted](Session &session) { return set(session, wanted); }};
    if (wanted.size() > (wanted.contains("name") ? 1U : 0U))
        task.question = "Change the network settings of";
    task.warnings = {"the change is lost at the next reboot unless it is saved: vxpctl save"};
    return administer(options, writer, log, task);
}

std::vector<Setting> settings()
{
    return {
        {"--name", "NAME", "The device's name, at most 63 bytes"},
        {"--dhcp",
         "on|off",
         "Take the address from a DHCP server; off keeps the present one as a static address",
         {"on", "off"}},
        {"--ip", "ADDRESS", "Static IPv4 address; turns DHCP off"},
        {"--mask", "MASK", "Subnet mask, such as 255.255.255.0"},
        {"--gateway", "ADDRESS", "Default gateway"},
        {"--dns", "SERVERS", "One or two addresses with a comma between them, or \"dhcp\""},
        {"--ipv6", "ADDRESS/LENGTH", "Static IPv6 address and prefix length, or \"auto\""},
        {"--ipv6-gateway", "ADDRESS", "IPv6 default gateway, beside --ipv6"},
    };
}

} // namespace

std::vector<Command> networkCommands()
{
    return {
        {{"network get",
          {{"NAME", "name"},
           {"MAC", "mac"},
           {"ADDRESS", "ip"},
           {"MASK", "mask"},
           {"GATEWAY", "gateway"},
           {"DHCP", "dhcp"},
           {"DNS", "dns"},
           {"IPV6", "ipv6"}}},
         "Show the name, the addresses and the DNS servers",
         "The values that are in force now. Needs no password.",
         deviceDefaults(),
         runGet,
         CommandKind::device},
        {{"network set", {}},
         "Change the name, the addresses or the DNS servers",
         "What is not given keeps its present value. The device is looked for again afterwards, and what it\n"
         "reports is compared with what was asked; exit status 10 when it does not show it (yet).",
         deviceDefaults(),
         runSet,
         CommandKind::device,
         settings()},
    };
}

} // namespace vxpctl
