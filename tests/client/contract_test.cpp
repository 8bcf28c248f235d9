// SPDX-License-Identifier: Apache-2.0
//
// What is promised to programs, and whether the tests keep up with it.
#include "tests/support/contract.h"

#include "client/commands.h"
#include "client/error_code.h"
#include "tests/support/support.h"

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

using namespace vxpctl;

namespace
{

using Names = std::set<std::string>;

const Names codes(errorCodes.begin(), errorCodes.end());

Names commands()
{
    Names names{"vxpctl"}; // the command line as a whole
    for (const Command &command : allCommands())
        names.insert(command.view.command);
    return names;
}

TEST(Contract, TheSchemaHasEveryCommandAndEveryCode)
{
    const Record schema = Record::parse(readFile(VXP_SOURCE_DIR "/client/vxpctl.schema.json"))["$defs"];
    EXPECT_EQ(schema["command"]["enum"].get<Names>(), commands());
    EXPECT_EQ(schema["error"]["properties"]["code"]["enum"].get<Names>(), codes);
}

TEST(Contract, OneShapeForNoneOneAndManyDevicesAndErrors)
{
    std::vector<std::string> printed;
    for (const std::string &command : commands())
        for (const Format format : {Format::json, Format::jsonl})
            for (int count = 0; count < 3; count++) {
                std::ostringstream out, err;
                const auto writer = makeWriter(format, {command, {}}, out, err);
                for (int i = 0; i < count; i++) {
                    const Record device{{"mac", "02:00:00:00:00:01"}, {"ip", nullptr}, {"name", "\xFF\f\x9B"}};
                    writer->device(device);
                    writer->error({"usage", "in \xFF\f", "", i ? "02:00:00:00:00:01" : ""});
                    writer->event({{"mac", device["mac"]}, {"name", ""}, {"phase", "done"}, {"percent", nullptr}});
                }
                writer->finish();
                if (!out.str().empty())
                    printed.push_back(out.str());
            }
    EXPECT_EQ(printed.size(), commands().size() * 5);
    EXPECT_EQ(contractProblems(printed), "");
    const std::vector<std::string> broken = {
        "{}", R"({"schema": "vxpctl/1", "command": "show", "devices": []})",
        R"({"schema": "vxpctl/1", "command": "show", "devices": [], "errors": [], "more": 1})",
        R"({"schema": "vxpctl/1", "command": "show", "device": {"mac": "02"}})", "{\n}\n}"};
    const std::string problems = contractProblems(broken);
    for (const std::string &output : broken)
        EXPECT_THAT(problems, testing::HasSubstr("\n" + output + "\n")) << "the schema takes everything";
}

TEST(Contract, EveryCommandAndEveryCodeIsInATest)
{
    std::string tests;
    for (const char *pArea : {"client", "lab"})
        for (const auto &entry : std::filesystem::directory_iterator(std::string(VXP_SOURCE_DIR "/tests/") + pArea))
            if (entry.path().extension() == ".cpp" && entry.path() != __FILE__)
                tests += readFile(entry.path());
    const auto untested = [&tests](const Names &names, const std::string &strBefore, const std::string &strAfter) {
        Names missing;
        for (const std::string &name : names)
            if (!std::regex_search(tests, std::regex(strBefore + name + strAfter)))
                missing.insert(name);
        return missing;
    };
    EXPECT_EQ(untested(codes, "\"", "[\"\\\\ ]"), Names{});
    Names all = commands();
    all.erase("vxpctl");
    EXPECT_EQ(untested(all, "(\"|vxpctl )", "[\" ]"), Names{});
}

} // namespace
