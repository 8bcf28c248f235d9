// SPDX-License-Identifier: Apache-2.0
//
// vxpctl: the command line.
#include "client/commands.h"
#include "client/failure.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <list>
#include <map>

namespace
{

using namespace vxpctl;

const std::map<std::string, Format> formats{
    {"table", Format::table},
    {"json",  Format::json },
    {"jsonl", Format::jsonl}
};

constexpr double longestTimeout = 86400; // seconds
constexpr double shortestTimeout = 0.1;
constexpr int mostTries = 10; // more would be a burst: the first gaps get shorter with each

const char *const examples = R"(Examples:
  vxpctl discover                      every device on every interface
  vxpctl discover -i eth0 --timeout 5  only on eth0, with more patience
  vxpctl discover -o json              for programs
  vxpctl neighbors                     the short record of each device
  vxpctl watch                         devices as they announce themselves
  vxpctl watch --count 1 -o jsonl      wait for one announcement

Exit status: 0 done, 1 failure, 2 usage, 3 no device found, 8 local network problem, 130 interrupted.)";

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

void addOptions(CLI::App &sub, Options &options)
{
    sub.add_option("-i,--interface", options.interfaces, "Use this network interface only; may be repeated")
        ->type_name("IFACE")
        ->allow_extra_args(false);
    auto *pTimeout = sub.add_option("--timeout", options.timeout)
                         ->check(secondsBetween(shortestTimeout, longestTimeout))
                         ->type_name("SECONDS");
    if (options.tries) {
        pTimeout->description("How long to wait for answers, in all")->capture_default_str();
        sub.add_option("--tries", options.tries, "How often to ask within this time")
            ->check(CLI::Range(1, mostTries))
            ->type_name("N")
            ->capture_default_str();
    } else {
        pTimeout->description("End after so long (default: never)");
        sub.add_option("--count", options.count, "End after so many announcements")
            ->check(CLI::PositiveNumber)
            ->type_name("N");
    }
    sub.add_option("-o,--output", options.format, "table for people; json or jsonl for programs")
        ->transform(CLI::CheckedTransformer(formats).description(""))
        ->type_name("FORMAT")
        ->default_str("table");
    sub.add_flag("-v,--verbose", options.verbose, "Tell on standard error what is sent and what is ignored");
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

ExitCode usageFailure(const std::string &command, const CLI::ParseError &error, Format format)
{
    const auto writer = makeWriter(format, {command, {}}, std::cout, std::cerr);
    const std::string program = command == "vxpctl" ? command : "vxpctl " + command;
    writer->error({"usage", error.what(), "'" + program + " --help' tells how"});
    writer->finish();
    return ExitCode::usage;
}

struct Entry {
    Command command;
    Options options;
    CLI::App *pSub;
};

ExitCode run(int argc, char **argv)
{
    CLI::App app("Finds and administers access points on the local network segments.", "vxpctl");
    app.set_version_flag("-V,--version", "vxpctl " VXP_VERSION_TEXT);
    app.footer(examples);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("Subcommands", "Commands");
    app.require_subcommand(1);

    std::list<Entry> entries;
    for (Command command : {discoverCommand(), neighborsCommand(), watchCommand()}) {
        CLI::App *pSub = app.add_subcommand(command.view.command, command.summary);
        Entry &entry = entries.emplace_back(Entry{command, command.defaults, pSub});
        addOptions(*pSub, entry.options);
        pSub->footer(command.description);
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
        const auto entry = chosen();
        return usageFailure(entry == entries.end() ? "vxpctl" : entry->command.view.command, error,
                            formatAsked(argc, argv));
    }
    const auto entry = chosen();
    return runCommand(entry->command, entry->options, std::cout, std::cerr);
}

} // namespace

int main(int argc, char **argv)
{
    return static_cast<int>(run(argc, argv));
}
