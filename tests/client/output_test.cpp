// SPDX-License-Identifier: Apache-2.0
//
// What reaches a terminal or a program: texts, the formats, and what is chosen of the records.
#include "client/text.h"
#include "client/writer.h"

#include <gmock/gmock.h>
#include <sstream>

using namespace vxpctl;

namespace
{

TEST(Text, NothingReachesATerminalThatItWouldActOn)
{
    const struct {
        const char *pWhat;
        std::string bytes, valid, shown;
    } cases[] = {
        {"letters of 1 to 4 bytes", "a\u00e4\u20ac\U0001F4E1", "a\u00e4\u20ac\U0001F4E1", "a\u00e4\u20ac\U0001F4E1"},
        {"escape sequence", "\x1b[31mred", "\x1b[31mred", "\\x1b[31mred"},
        {"line break, tab, DEL", "a\r\n\tb\x7f", "a\r\n\tb\x7f", "a\\x0d\\x0a\\x09b\\x7f"},
        {"C1 control, as UTF-8", "\u009b", "\u009b", "\\u009b"},
        {"C1 control, as a byte", "\x9B", "\\x9b", "\\x9b"},
        {"bidirectional override, isolate", "\u202E\u2066", "\u202E\u2066", "\\u202e\\u2066"},
        {"zero width, separator, tag", "\u200b\u2028\U000E0041", "\u200b\u2028\U000E0041", "\\u200b\\u2028\\U000e0041"},
        {"Latin-1", "H\xF6rsaal", "H\\xf6rsaal", "H\\xf6rsaal"},
        {"overlong, 2 bytes", "\xC0\xAF", "\\xc0\\xaf", "\\xc0\\xaf"},
        {"overlong, 3 bytes", "\xE0\x80\xAF", "\\xe0\\x80\\xaf", "\\xe0\\x80\\xaf"},
        {"surrogate", "\xED\xA0\x80", "\\xed\\xa0\\x80", "\\xed\\xa0\\x80"},
        {"above U+10FFFF", "\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80", "\\xf4\\x90\\x80\\x80"},
        {"cut in the middle", "a\xE2\x82", "a\\xe2\\x82", "a\\xe2\\x82"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(validUtf8(c.bytes), c.valid) << c.pWhat;
        EXPECT_EQ(printable(c.bytes), c.shown) << c.pWhat;
        EXPECT_EQ(printable(c.valid), c.shown) << c.pWhat;
    }
}

TEST(Text, WidthCountsTerminalColumns)
{
    EXPECT_EQ(displayWidth("abc\u00e4"), 4U);
    if (!knowsCharacterWidths())
        GTEST_SKIP() << "this host has no C.UTF-8 locale: wide and combining characters are not known";
    EXPECT_EQ(displayWidth("\u5927\u5385"), 4U);
    EXPECT_EQ(displayWidth("a\u0308"), 1U);
}

const Record devices = Record::parse(R"([
    {"name": "H\u00f6r,\"b\"", "ip": "10.1.2.10", "dhcp": true, "dns": ["1.1.1.1", "2.2.2.2"]},
    {"name": "\u001b[2J", "ip": "10.1.2.9", "dhcp": false, "dns": []},
    {"name": "", "ip": null, "dhcp": null, "dns": ["1.1.1.1"]}])");
const View table{"show", {{"NAME", "name", 9}, {"Address", "ip"}, {"DHCP", "dhcp"}}};
const Error error{"no_device", "nothing on \xFF\x1b", "look again"};

std::string show(Format format, const Selection &selection = {}, const View &view = table,
                 const std::vector<Error> &errors = {})
{
    std::ostringstream out, err;
    const auto writer = makeWriter(format, view, selection, out, err);
    for (const Record &record : devices)
        writer->device(record);
    for (const Error &one : errors)
        writer->error(one);
    const ExitCode code = writer->finish();
    return out.str() + err.str() + (code == ExitCode::done ? "" : "exit " + std::to_string(static_cast<int>(code)));
}

TEST(Writer, TablesAreAlignedByWhatIsSeen)
{
    EXPECT_EQ(show(Format::wide, {}, table, {error}), "NAME       Address    DHCP  DNS\n"
                                                      "H\u00f6r,\"b\"    10.1.2.10  on    1.1.1.1,2.2.2.2\n"
                                                      "\\x1b[2J    10.1.2.9   off   -\n"
                                                      "-          -          -     1.1.1.1\n"
                                                      "vxpctl: nothing on \\xff\\x1b\n  hint: look again\n");
    EXPECT_EQ(show(Format::table, {}, {"watch", table.columns, true}), "NAME       Address  DHCP\n"
                                                                       "H\u00f6r,\"b\"    10.1.2.10  on\n"
                                                                       "\\x1b[2J    10.1.2.9  off\n"
                                                                       "-          -  -\n");
    EXPECT_EQ(show(Format::table, {{"ip", "dns"}, "-dns"}), "Address    DNS\n"
                                                            "10.1.2.10  1.1.1.1,2.2.2.2\n"
                                                            "-          1.1.1.1\n"
                                                            "10.1.2.9   -\n");
    EXPECT_THAT(show(Format::table, {}, {"show", {}}),
                testing::StartsWith("name  H\u00f6r,\"b\"\nip    10.1.2.10\ndhcp  on\n"));
}

TEST(Writer, BareValuesAreInTheOrderAskedFor)
{
    EXPECT_EQ(show(Format::csv), "name,ip,dhcp,dns\r\n"
                                 "\"H\u00f6r,\"\"b\"\"\",10.1.2.10,true,\"1.1.1.1,2.2.2.2\"\r\n"
                                 "\\x1b[2J,10.1.2.9,false,\r\n"
                                 ",,,1.1.1.1\r\n");
    EXPECT_EQ(show(Format::value, {{"ip", "dhcp"}, "ip"}), "\t\n10.1.2.9\tfalse\n10.1.2.10\ttrue\n");
    EXPECT_EQ(show(Format::value, {{"ip"}, "-ip"}), "10.1.2.10\n10.1.2.9\n\n");
    EXPECT_EQ(show(Format::value, {{"colour"}, ""}), "\n\n\nvxpctl: no record has a field 'colour'\n"
                                                     "  hint: the fields are dhcp, dns, ip, name\nexit 2");
}

TEST(Writer, JSONHasOneShapeAndNothingThatATerminalActsOn)
{
    EXPECT_EQ(Record::parse(show(Format::json, {{"ip"}, "ip"}, table, {error})), Record::parse(R"({
        "schema": "vxpctl/1", "command": "show", "devices": [{"ip": null}, {"ip": "10.1.2.9"}, {"ip": "10.1.2.10"}],
        "errors": [{"code": "no_device", "message": "nothing on \\xff\u001b", "hint": "look again", "device": null}]})"));
    EXPECT_EQ(show(Format::jsonl, {{"name"}, ""}, table, {error}),
              R"({"schema":"vxpctl/1","command":"show","device":{"name":"H\u00f6r,\"b\""}})"
              "\n"
              R"({"schema":"vxpctl/1","command":"show","device":{"name":"\u001b[2J"}})"
              "\n"
              R"({"schema":"vxpctl/1","command":"show","device":{"name":""}})"
              "\n"
              R"({"schema":"vxpctl/1","command":"show","error":{"code":"no_device","message":"nothing on \\xff\u001b",)"
              R"("hint":"look again","device":null}})"
              "\n");
}

} // namespace
