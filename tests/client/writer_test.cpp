// SPDX-License-Identifier: Apache-2.0
#include "client/writer.h"

#include "client/text.h"

#include <gtest/gtest.h>
#include <sstream>

using namespace vxpctl;

namespace
{

const std::vector<Record> devices{
    {{"name", "H\u00f6rsaal"}, {"ip", "10.1.2.9"},  {"dhcp", true},    {"interfaces", {"eth0", "eth1"}}},
    {{"name", "\x1b[2J"},      {"ip", nullptr},     {"dhcp", false},   {"interfaces", {"eth0"}}        },
    {{"name", ""},             {"ip", "10.1.2.10"}, {"dhcp", nullptr}, {"interfaces", Record::array()} },
};
const Error error{"no_device", "nothing on \xFF\x1b", "look again"};

struct Shown {
    std::string out, err;
};

Shown show(Format format, const std::vector<Record> &records, const std::vector<Error> &errors, bool live = false)
{
    std::ostringstream out, err;
    const View view{
        "discover", {{"NAME", "name", 9}, {"ADDRESS", "ip"}, {"DHCP", "dhcp"}, {"INTERFACE", "interfaces"}},
         live
    };
    const auto writer = makeWriter(format, view, out, err);
    for (const Record &record : records)
        writer->device(record);
    for (const Error &shown : errors)
        writer->error(shown);
    writer->finish();
    return {out.str(), err.str()};
}

TEST(Writer, TableIsAlignedByWhatIsSeen)
{
    const Shown shown = show(Format::table, devices, {});
    EXPECT_EQ(shown.out, "NAME       ADDRESS    DHCP  INTERFACE\n"
                         "H\u00f6rsaal    10.1.2.9   on    eth0,eth1\n"
                         "\\x1b[2J    -          off   eth0\n"
                         "-          10.1.2.10  -     -\n");
    EXPECT_EQ(shown.err, "");
}

TEST(Writer, TableTellsErrorsOnTheOtherStream)
{
    const Shown shown = show(Format::table, {}, {error});
    EXPECT_EQ(shown.out, "");
    EXPECT_EQ(shown.err, "vxpctl: nothing on \\xff\\x1b\n  hint: look again\n");
}

TEST(Writer, LiveTableKeepsItsColumnWidths)
{
    EXPECT_EQ(show(Format::table, {devices[1], devices[0]}, {}, true).out, "NAME       ADDRESS  DHCP  INTERFACE\n"
                                                                           "\\x1b[2J    -  off  eth0\n"
                                                                           "H\u00f6rsaal    10.1.2.9  on  eth0,eth1\n");
}

TEST(Writer, EnvelopeHasOneShape)
{
    const Shown empty = show(Format::json, {}, {});
    EXPECT_EQ(Record::parse(empty.out), Record::parse(R"({"schema": "vxpctl/1", "command": "discover", "devices": [],
                                                          "errors": []})"));
    const Shown full = show(Format::json, devices, {error});
    const Record envelope = Record::parse(full.out);
    EXPECT_EQ(envelope["devices"], Record(devices));
    EXPECT_EQ(envelope["errors"], Record::parse(R"([{"code": "no_device", "message": "nothing on \\xff\u001b",
                                                     "hint": "look again", "device": null}])"));
    EXPECT_EQ(full.out.find_first_not_of("\n !\"#$%&'()*+,-./0123456789:;<=>?@[\\]^_`{|}~"
                                         "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"),
              std::string::npos)
        << "nothing that a terminal acts on";
    EXPECT_EQ(full.err, "");
}

TEST(Writer, LinesComeAsTheyHappen)
{
    const Shown shown = show(Format::jsonl, {devices[1]}, {error});
    EXPECT_EQ(shown.out, "{\"schema\":\"vxpctl/1\",\"command\":\"discover\",\"device\":{\"name\":\"\\u001b[2J\","
                         "\"ip\":null,\"dhcp\":false,\"interfaces\":[\"eth0\"]}}\n"
                         "{\"schema\":\"vxpctl/1\",\"command\":\"discover\",\"error\":{\"code\":\"no_device\","
                         "\"message\":\"nothing on \\\\xff\\u001b\",\"hint\":\"look again\",\"device\":null}}\n");
}

} // namespace
