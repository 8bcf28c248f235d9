// SPDX-License-Identifier: Apache-2.0
//
// vxpctl: the command line.
#include "client/commands.h"
#include "client/failure.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fcntl.h>
#include <iostream>
#include <list>
#include <map>
#include <unistd.h>

namespace
{

using namespace vxpctl;

const std::map<std::string, Format> formats{{"table", Format::table}, {"json", Format::json}, {"jsonl", Format::jsonl}};

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
    const auto setFormat = [&options](const std::string &name) { options.format = formats.at(name); };
    sub.add_option_function<std::string>("-o,--output", setFormat, "table for people; json or jsonl for programs")
        ->check(CLI::IsMember(&formats).description(""))
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

ExitCode usageFailure(const std::string &command, const std::string &message, Format format)
{
    const auto writer = makeWriter(format, {command, {}}, std::cout, std::cerr);
    const std::string program = command == "vxpctl" ? command : "vxpctl " + command;
    writer->error({"usage", message, "'" + program + " --help' tells how"});
    writer->finish();
    return ExitCode::usage;
}

struct Entry {
    Command command;
    Options options;
    CLI::App *pSub;
};

// A stream that was closed before the start would lend its number to the next socket, and what is printed would be
// sent.
void reserveStandardStreams()
{
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO)
        fd = open("/dev/null", O_RDONLY); // printing to it fails, as it should
    if (fd >= 0)
        close(fd);
}

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
        const Format format = formatAsked(argc, argv);
        if (const auto entry = chosen(); entry != entries.end())
            return usageFailure(entry->command.view.command, error.what(), format);
        const auto unknown = app.remaining();
        return usageFailure(
            "vxpctl", unknown.empty() ? "a command is missing" : "there is no command '" + unknown[0] + "'", format);
    }
    const auto entry = chosen();
    return runCommand(entry->command, entry->options, std::cout, std::cerr);
}

} // namespace

int main(int argc, char **argv)
{
    reserveStandardStreams();
    std::cout.exceptions(std::ios::badbit | std::ios::failbit);
    try {
        const ExitCode code = run(argc, argv);
        std::cout.flush();
        return static_cast<int>(code);
    } catch (const std::ios::failure &) {
        std::cout.exceptions(std::ios::goodbit); // std::cerr flushes it
        std::cerr << "vxpctl: cannot write to standard output\n  hint: is it closed, or its disk full?\n";
        return static_cast<int>(ExitCode::failure);
    }
}
