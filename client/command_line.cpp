// SPDX-License-Identifier: Apache-2.0
#include "client/command_line.h"

#include "client/commands.h"
#include "client/failure.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <list>
#include <map>

namespace vxpctl
{
namespace
{

const std::map<std::string, Format> formats{{"table", Format::table}, {"wide", Format::wide}, {"json", Format::json},
                                            {"jsonl", Format::jsonl}, {"csv", Format::csv},   {"value", Format::value}};

constexpr double longestTimeout = 86400; // seconds
constexpr double shortestTimeout = 0.1;
constexpr int mostTries = 100;

const char *const examples =
    R"(A TARGET is a MAC address, an IPv4 address or a name; mac:, ip: or name: before it forces one.

Examples:
  vxpctl discover                              every device on every interface
  vxpctl discover -o json                      for programs
  vxpctl watch                                 devices as they announce themselves
  vxpctl doctor                                why devices are not found
  vxpctl show Lobby                            everything that one device tells
  vxpctl network set Lobby --name Reception    rename it; what is not given stays
  vxpctl network set 02:00:00:00:00:52 --ip 192.168.0.52 --mask 255.255.255.0 --gateway 192.168.0.1
  vxpctl save Reception                        keep the changes over a reboot
  vxpctl reboot --all --yes                    without a question
  vxpctl decode trouble.pcap                   what a capture of tcpdump or Wireshark shows

Passwords are asked for, or come from --password-file, --password-fd or VXPCTL_PASSWORD.

Exit status: 0 done, 1 failure, 2 usage, 3 no device found, 4 no answer in time, 5 password refused, 6 the device
reported an error, 7 partly done, 8 local network problem, 9 not confirmed, 10 sent but not verified, 130 interrupted.)";

// Also refuses "nan", which passes every pair of comparisons that could refuse a value.
CLI::Validator secondsBetween(double least, double most)
{
    return CLI::Validator(
        [least, most](std::string &text) -> std::string {
            double value = 0;
            if (CLI::detail::lexical_cast(text, value) && value >= least && value <= most)
                return "";
            return "'" + text + "' is not a time from " + CLI::detail::to_string(least) + " to " +
                   CLI::detail::to_string(most) + " seconds";
        },
        "");
}

void addSendingOptions(CLI::App &sub, Options &options, CommandKind kind)
{
    auto *pTimeout = sub.add_option("--timeout", options.timeout)
                         ->check(secondsBetween(shortestTimeout, longestTimeout))
                         ->type_name("SECONDS");
    if (kind == CommandKind::listen) {
        pTimeout->description("End after so long (default: never)");
        sub.add_option("--count", options.count, "End after so many announcements")
            ->check(CLI::PositiveNumber)
            ->type_name("N");
        return;
    }
    pTimeout->description(kind == CommandKind::survey
                              ? "Ask and listen for so long (default: until nobody is likely to be missing, up to 10)"
                          : kind == CommandKind::probe
                              ? "Ask and listen for so long (default: 2.5)"
                              : "How long to look for the devices, and to wait for an answer, all tries together");
    sub.add_option("--tries", options.tries, "How often to ask within this time")
        ->check(CLI::Range(1, mostTries))
        ->type_name("N");
    if (kind != CommandKind::probe)
        sub.add_flag("--no-cache", options.noCache, "Neither use nor keep the list of devices that were seen before");
}

void addNetworkOptions(CLI::App &sub, Options &options, CommandKind kind)
{
    sub.add_option("-i,--interface", options.interfaces, "Use this network interface only; may be repeated")
        ->type_name("IFACE")
        ->allow_extra_args(false);
    addSendingOptions(sub, options, kind);
    sub.add_flag("-v,--verbose", options.verbose, "Tell on standard error what is sent and what is ignored");
    sub.add_flag("--trace", options.trace, "Tell every datagram too, decoded and without secrets");
    sub.add_option("--pcap", options.captureFile, "Write every datagram to this capture file, without secrets")
        ->type_name("FILE");
}

void addOutputOptions(CLI::App &sub, Options &options, CommandKind kind)
{
    const auto setFormat = [&options](const std::string &name) { options.format = formats.at(name); };
    sub.add_option_function<std::string>("-o,--output", setFormat,
                                         "table or wide for people; json, jsonl, csv or value for programs")
        ->check(CLI::IsMember(&formats).description(""))
        ->type_name("FORMAT")
        ->default_str("table");
    sub.add_option("-f,--fields", options.selection.fields, "Show these fields only, by their names in JSON")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("FIELDS");
    if (kind != CommandKind::listen)
        sub.add_option("--sort", options.selection.sort, "Sort by this field; with - before it, the other way round")
            ->type_name("FIELD");
}

void addDeviceOptions(CLI::App &sub, Options &options)
{
    sub.add_option("TARGET", options.targets, "The devices, each a MAC address, an IPv4 address or a name")
        ->type_name("");
    sub.add_flag("--all", options.all, "Every device that answers");
    sub.add_option("--password-file", options.passwordFile, "Read the password from a file that only you can read")
        ->type_name("FILE");
    sub.add_option("--password-fd", options.passwordFd, "Read the password from this open file descriptor")
        ->check(CLI::NonNegativeNumber)
        ->type_name("FD");
    sub.add_flag("--yes", options.yes, "Do not ask before a change");
    sub.add_flag("--dry-run", options.dryRun, "Find the devices, show the request and its bytes, and do not send it");
}

void addSetting(CLI::App &sub, Options &options, const Setting &setting)
{
    if (setting.valueName.empty()) {
        const auto set = [&options, name = setting.name](std::int64_t) { options.values[name] = "on"; };
        sub.add_flag_function(setting.name, set, setting.help);
        return;
    }
    const auto set = [&options, name = setting.name](const std::string &value) { options.values[name] = value; };
    auto *pOption = sub.add_option_function<std::string>(setting.name, set, setting.help);
    pOption->type_name(setting.valueName)->required(setting.required);
    if (!setting.choices.empty())
        pOption->check(CLI::IsMember(setting.choices).description(""));
}

struct Entry {
    Command command;
    Options options;
    CLI::App *pSub;
};

// "wireless get" is the command get of the group wireless, which is made when it is missing.
CLI::App *addSubcommand(CLI::App &app, const Command &command)
{
    const std::string &name = command.view.command;
    const std::size_t blank = name.find(' ');
    if (blank == name.npos)
        return app.add_subcommand(name, command.summary);
    const std::string group = name.substr(0, blank);
    const auto known = app.get_subcommands([&group](const CLI::App *pSub) { return pSub->get_name() == group; });
    CLI::App *pGroup = known.empty() ? app.add_subcommand(group) : known[0];
    pGroup->require_subcommand(1);
    const std::string before = pGroup->get_description();
    pGroup->description(before + (before.empty() ? "" : "; ") + name.substr(blank + 1) + ": " + command.summary);
    return pGroup->add_subcommand(name.substr(blank + 1), command.summary);
}

// The format that a command line asks for which does not parse as a whole.
Format formatAsked(int argc, char **argv)
{
    for (int i = 1; i < argc; i++) {
        const std::string_view option = argv[i], next = i + 1 < argc ? argv[i + 1] : "";
        for (const auto &[name, format] : formats)
            if (option == "-o" + name || option == "--output=" + name ||
                ((option == "-o" || option == "--output") && next == name))
                return format;
    }
    return Format::table;
}

ExitCode usageFailure(const View &view, const std::string &message, Format format)
{
    const auto writer = makeWriter(format, view, std::cout, std::cerr);
    const std::string program = view.command == "vxpctl" ? view.command : "vxpctl " + view.command;
    writer->error({"usage", message, "'" + program + " --help' tells how"});
    writer->finish();
    return ExitCode::usage;
}

// The group that was named without one of its commands, or nothing.
std::string groupChosen(const CLI::App &app)
{
    for (const CLI::App *pGroup : app.get_subcommands())
        return pGroup->get_name();
    return "";
}

std::string describe(const CLI::App &app, const CLI::ParseError &error)
{
    const auto unknown = app.remaining();
    const std::string group = groupChosen(app);
    if (!group.empty())
        return "'" + group + "' needs one of its commands" + (unknown.empty() ? "" : ", not '" + unknown[0] + "'");
    if (!unknown.empty())
        return "there is no command '" + unknown[0] + "'";
    return error.get_name() == "RequiredError" ? "a command is missing" : error.what();
}

void addCommand(CLI::App &app, Entry &entry)
{
    CLI::App &sub = *entry.pSub;
    Options &options = entry.options;
    const CommandKind kind = entry.command.kind;
    if (kind == CommandKind::device)
        addDeviceOptions(sub, options);
    for (const Setting &setting : entry.command.settings)
        addSetting(sub, options, setting);
    if (kind == CommandKind::local)
        sub.add_option(entry.command.operand, options.targets, entry.command.operandHelp)->type_name("");
    else
        addNetworkOptions(sub, options, kind);
    addOutputOptions(sub, options, kind);
    sub.get_formatter()->column_width(app.get_formatter()->get_column_width());
    sub.footer(entry.command.description);
}

} // namespace

ExitCode runCommandLine(int argc, char **argv)
{
    CLI::App app("Finds and administers access points on the local network segments.", "vxpctl");
    app.set_version_flag("-V,--version", "vxpctl " VXP_VERSION_TEXT);
    app.footer(examples);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("Subcommands", "Commands");
    app.require_subcommand(1);

    std::list<Entry> entries;
    for (const Command &command : allCommands()) {
        Entry &entry = entries.emplace_back(Entry{command, command.defaults, addSubcommand(app, command)});
        addCommand(app, entry);
    }
    const auto chosen = [&entries] {
        return std::find_if(entries.begin(), entries.end(), [](const Entry &entry) { return entry.pSub->parsed(); });
    };
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &request) { // --help, --version
        app.exit(request);
        return ExitCode::done;
    } catch (const CLI::ParseError &error) {
        const Format format = formatAsked(argc, argv);
        if (const auto entry = chosen(); entry != entries.end())
            return usageFailure(entry->command.view, error.what(), format);
        return usageFailure({"vxpctl", {}}, describe(app, error), format);
    }
    const auto entry = chosen();
    return runCommand(entry->command, entry->options, std::cout, std::cerr);
}

} // namespace vxpctl
