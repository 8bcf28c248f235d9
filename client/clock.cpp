// SPDX-License-Identifier: Apache-2.0
//
// time and ddns: two groups of settings that present devices report but do not keep.
#include "client/commands.h"

#include "client/session.h"

#include <charconv>
#include <cmath>
#include <ctime>

namespace vxpctl
{
namespace
{

constexpr double clockTolerance = 5; // seconds between the time that was set and the time read back

Failure usage(const std::string &message)
{
    return Failure(ExitCode::usage, {"usage", message, ""});
}

std::uint8_t byteValue(const std::string &text, const std::string &option, unsigned most)
{
    unsigned value = 0;
    const auto [pEnd, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || pEnd != text.data() + text.size() || value > most)
        throw usage("'" + text + "' is no number from 0 to " + std::to_string(most) + " (" + option + ")");
    return static_cast<std::uint8_t>(value);
}

// YYYY-MM-DDThh:mm:ss or "now" as the wire has it.
std::string digits(const std::string &text)
{
    std::tm time{};
    if (text == "now") {
        const std::time_t now = std::time(nullptr);
        localtime_r(&now, &time);
    } else {
        const char *pEnd = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &time);
        if (!pEnd || *pEnd)
            throw usage("'" + text + "' is neither \"now\" nor a time such as 2026-11-21T09:30:00 (--to)");
    }
    char out[16];
    std::strftime(out, sizeof out, "%Y%m%d%H%M%S", &time);
    return out;
}

bool isClose(const std::string &first, const std::string &second)
{
    std::time_t times[2] = {};
    for (const auto &[i, pText] : {std::pair{0, &first}, {1, &second}}) {
        std::tm time{};
        if (!strptime(pText->c_str(), "%Y-%m-%dT%H:%M:%S", &time))
            return false;
        times[i] = timegm(&time);
    }
    return std::abs(std::difftime(times[0], times[1])) <= clockTolerance;
}

Record getTime(Session &session)
{
    Record record = session.result();
    record.update(toRecord(session.read<DateTimeBody>(VXP_OP_GET_DATE_TIME)));
    return record;
}

void applyTime(DateTimeBody &body, Record &wanted, const Options &options)
{
    if (const auto time = options.value("--to")) {
        putSetting(body.strDateTime, digits(*time), "the time");
        wanted["time"] = nullptr;
    }
    if (const auto zone = options.value("--time-zone")) {
        body.ucTimeZone = byteValue(*zone, "--time-zone", 255);
        wanted["time_zone"] = nullptr;
    }
    if (const auto saving = options.value("--daylight-saving")) {
        body.ucDaylightSaving = *saving == "on";
        wanted["daylight_saving"] = nullptr;
    }
    if (const auto server = options.value("--ntp")) {
        body.ucNTP = *server != "off";
        wanted["ntp"] = nullptr;
        if (body.ucNTP) {
            putSetting(body.strNTP_Server, *server, "the server's name");
            wanted["ntp_server"] = nullptr;
        }
    }
    const Record all = toRecord(body);
    for (const auto &[name, value] : all.items())
        if (wanted.contains(name))
            wanted[name] = value;
}

Record setTime(Session &session)
{
    Record wanted = Record::object();
    DateTimeBody body = {};
    if (!session.options().dryRun) // the present values take the password
        body = session.read<DateTimeBody>(VXP_OP_GET_DATE_TIME);
    applyTime(body, wanted, session.options());
    session.change(VXP_OP_SET_DATE_TIME, body);
    Record actual = toRecord(session.read<DateTimeBody>(VXP_OP_GET_DATE_TIME)), record = session.result();
    if (wanted.contains("time") && actual["time"].is_string() && isClose(wanted["time"], actual["time"]))
        wanted["time"] = actual["time"];
    session.compare(record, wanted, actual, "these devices take their clock from elsewhere and keep no such setting");
    return record;
}

Record getDdns(Session &session)
{
    Record record = session.result();
    record.update(toRecord(session.read<NetAdvancedBody>(VXP_OP_GET_NET_ADVANCED)));
    if (record["ddns_password"] != "")
        record["ddns_password"] = "***";
    return record;
}

void applyDdns(NetAdvancedBody &body, Record &wanted, const Options &options, const std::string &password)
{
    body.ucFlags |= DDNS_BIT; // whatever is sent, devices turn it on
    if (const auto user = options.value("--user")) {
        putSetting(body.strUser, *user, "the user");
        wanted["ddns_user"] = *user;
    }
    if (const auto domain = options.value("--domain")) {
        putSetting(body.strDomain, *domain, "the domain");
        wanted["ddns_domain"] = *domain;
    }
    body.ucProvider = DDNS_UNCHANGED;
    if (const auto provider = options.value("--provider")) {
        body.ucProvider = byteValue(*provider, "--provider", DDNS_UNCHANGED - 1);
        wanted["ddns_provider"] = body.ucProvider;
    }
    if (options.given("--ddns-password-file"))
        putSetting(body.strPassword, password, "the DDNS password");
}

Record setDdns(Session &session, const std::string &password)
{
    Record wanted = Record::object();
    NetAdvancedBody body = {};
    if (!session.options().dryRun)
        body = session.read<NetAdvancedBody>(VXP_OP_GET_NET_ADVANCED);
    applyDdns(body, wanted, session.options(), password);
    session.change(VXP_OP_SET_NET_ADVANCED, body, offsetof(NetAdvancedBody, ucProviderListLen));
    const auto now = session.read<NetAdvancedBody>(VXP_OP_GET_NET_ADVANCED);
    Record record = session.result();
    wanted["ddns"] = true;
    session.compare(record, wanted, toRecord(now), "these devices have no DDNS client and keep no such setting");
    return record;
}

ExitCode runGetTime(const Options &options, Writer &writer, const Log &log)
{
    return administer(options, writer, log, {getTime});
}

ExitCode runSetTime(const Options &options, Writer &writer, const Log &log)
{
    DateTimeBody check{};
    Record wanted = Record::object();
    applyTime(check, wanted, options);
    if (wanted.empty())
        throw usage("nothing to set: give --to, --time-zone, --daylight-saving or --ntp");
    Task task{setTime};
    task.warnings = {"devices known today accept a time, a time zone and a time server, but keep none of them"};
    return administer(options, writer, log, task);
}

ExitCode runGetDdns(const Options &options, Writer &writer, const Log &log)
{
    return administer(options, writer, log, {getDdns});
}

ExitCode runSetDdns(const Options &options, Writer &writer, const Log &log)
{
    NetAdvancedBody check{};
    Record wanted = Record::object();
    std::string password;
    if (const auto file = options.value("--ddns-password-file")) {
        SecretSource source{"DDNS password"};
        source.file = *file;
        password = readSecret(source);
    }
    applyDdns(check, wanted, options, password);
    if (options.values.empty())
        throw usage("nothing to set: give --user, --domain, --provider or --ddns-password-file");
    Task task{[&password](Session &session) { return setDdns(session, password); }};
    task.warnings = {"devices known today accept DDNS settings, but keep none of them"};
    return administer(options, writer, log, task);
}

} // namespace

std::vector<Command> clockCommands()
{
    const auto device = CommandKind::device;
    const std::vector<Column> identity{{"NAME", "name"}, {"MAC", "mac"}, {"ADDRESS", "ip"}};
    std::vector<Column> time = identity, ddns = identity;
    time.insert(time.end(), {{"TIME", "time"}, {"ZONE", "time_zone"}, {"NTP", "ntp"}, {"SERVER", "ntp_server"}});
    ddns.insert(ddns.end(), {{"DDNS", "ddns"}, {"CONNECTED", "ddns_connected"}, {"DOMAIN", "ddns_domain"}});
    return {
        {{"time get", time},
         "Show the clock and its settings",
         "Local time of the device.",
         deviceDefaults(),
         runGetTime,
         device},
        {{"time set", {}},
         "Set the clock, the time zone and the time server",
         "What is not given keeps its present value. The device is asked again afterwards; exit status 10 when\n"
         "it does not report what was set. Devices known today keep none of it.",
         deviceDefaults(),
         runSetTime,
         device,
         {{"--to", "TIME", "Local time of the device, such as 2026-11-21T09:30:00, or \"now\""},
          {"--time-zone", "N", "Time-zone code, 0 to 255"},
          {"--daylight-saving", "on|off", "Daylight saving", {"on", "off"}},
          {"--ntp", "SERVER", "Take the time from this server, or \"off\""}}},
        {{"ddns get", ddns},
         "Show the dynamic DNS settings",
         "The password is never shown.",
         deviceDefaults(),
         runGetDdns,
         device},
        {{"ddns set", {}},
         "Change the dynamic DNS settings",
         "What is not given keeps its present value. Exit status 10 when the device does not report what was\n"
         "set. Devices known today keep none of it.",
         deviceDefaults(),
         runSetDdns,
         device,
         {{"--user", "NAME", "Account at the provider, at most 63 bytes"},
          {"--ddns-password-file", "FILE", "Password at the provider, from a file that only you can read"},
          {"--domain", "NAME", "Host name to be kept up to date, at most 63 bytes"},
          {"--provider", "N", "Index into the device's list of providers, 0 to 254"}}},
    };
}

} // namespace vxpctl
