// SPDX-License-Identifier: Apache-2.0
//
// config-dump and config-file. A backup:
//
//     # vxp configuration 1
//     (a line of an lsqlctl dump for each configured field)
//     # sha256: (64 hexadecimal digits, of all bytes before this line)
#include "lab/file.h"
#include "lab/settings.h"
#include "lab/tool.h"

namespace lab
{

namespace
{

constexpr std::string_view HEADER = "# vxp configuration 1\n";
constexpr std::string_view TRAILER = "# sha256: ";

void validate(const std::string &file)
{
    checkBackup(readFile(file), file);
}

// What the device is and what it is doing stay; of the rest nothing does.
void restore(const std::string &file)
{
    const std::string text = readFile(file);
    checkBackup(text, file);
    Settings settings = only(Kind::configured, parseSettings(text, file));
    const Settings present = readStore();
    settings.merge(only(Kind::identity, present));
    settings.merge(only(Kind::passing, present));
    replaceSettings(settings);
}

} // namespace

std::string formatBackup()
{
    std::string text(HEADER);
    text += formatSettings(only(Kind::configured, readStore()));
    return text + std::string(TRAILER) + sha256(text) + "\n";
}

void checkBackup(const std::string &text, const std::string &name)
{
    const auto fail = [&name](const char *problem) { throw std::runtime_error(name + ": " + problem); };
    if (!text.starts_with(HEADER))
        fail("not a configuration file: its first line is not \"# vxp configuration 1\"");
    const std::size_t at = text.rfind('\n', text.size() - 2) + 1;
    if (!text.ends_with('\n') || text.compare(at, TRAILER.size(), TRAILER) != 0)
        fail("the configuration file is cut short: its last line is not the checksum");
    const std::string body = text.substr(0, at);
    if (text.substr(at + TRAILER.size()) != sha256(body) + "\n")
        fail("the configuration file is damaged: its checksum does not fit");
    parseSettings(body, name);
}

void configDump(const Arguments &arguments)
{
    writeFile(arguments[0], formatBackup());
}

void configFile(const Arguments &arguments)
{
    if (arguments[0] == "validate")
        validate(arguments[1]);
    else if (arguments[0] == "restore")
        restore(arguments[1]);
    else
        throw UsageError("");
}

} // namespace lab
