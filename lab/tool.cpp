// SPDX-License-Identifier: Apache-2.0
#include "lab/tool.h"

#include <cstdio>
#include <exception>
#include <string_view>

namespace
{

struct Tool {
    std::string_view name;
    std::size_t least; // arguments
    std::size_t most;
    void (*run)(const lab::Arguments &arguments);
    const char *usage;
};

constexpr Tool TOOLS[] = {
    {"submit", 1, 3, lab::submit, "SET_PASSWD USER PASSWORD | SET_IPADDRESS | COMMIT | SHUTDOWN"},
    {"config-dump", 1, 1, lab::configDump, "FILE"},
    {"config-file", 2, 2, lab::configFile, "validate|restore FILE"},
    {"flash-validate", 1, 1, lab::flashValidate, "FILE"},
    {"flash-upgrade", 1, 1, lab::flashUpgrade, "FILE"},
    {"firmware-upgrade", 1, 1, lab::firmwareUpgrade, "tftp://SERVER/FILE"},
    {"dhcp-event", 1, 2, lab::dhcpEvent, "EVENT   (started by udhcpc)"},
};

int printUsage(FILE *out)
{
    fputs("Usage: vxptool TOOL ARGUMENT..., or TOOL ARGUMENT... by a link of the tool's name. The tools:\n", out);
    for (const Tool &tool : TOOLS)
        fprintf(out, "  %s %s\n", tool.name.data(), tool.usage);
    return out == stdout ? 0 : 2;
}

int runTool(const Tool &tool, const lab::Arguments &arguments)
{
    try {
        if (arguments.size() < tool.least || arguments.size() > tool.most)
            throw lab::UsageError("");
        tool.run(arguments);
        return 0;
    } catch (const lab::UsageError &) {
        fprintf(stderr, "usage: %s %s\n", tool.name.data(), tool.usage);
        return 2;
    } catch (const std::exception &failure) {
        fprintf(stderr, "%s: %s\n", tool.name.data(), failure.what());
        return 1;
    }
}

} // namespace

int main(int argc, char **argv)
{
    std::string_view name = argc > 0 ? argv[0] : "";
    name.remove_prefix(name.rfind('/') + 1);
    int first = 1;
    if (name == "vxptool") {
        name = argc > 1 ? argv[1] : "";
        first = 2;
    }
    for (const Tool &tool : TOOLS)
        if (tool.name == name)
            return runTool(tool, lab::Arguments(argv + first, argv + argc));
    return printUsage(name == "--help" ? stdout : stderr);
}
