// SPDX-License-Identifier: Apache-2.0
#include "client/text.h"
#include "client/writer.h"

#include <gtest/gtest.h>
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

const std::vector<Record> devices{
    Record::parse(R"({"name": "H\u00f6rsaal", "ip": "10.1.2.9", "dhcp": true, "interfaces": ["eth0", "eth1"]})"),
    Record::parse(R"({"name": "\u001b[2J", "ip": null, "dhcp": false, "interfaces": ["eth0"]})"),
    Record::parse(R"({"name": "", "ip": "10.1.2.10", "dhcp": null, "interfaces": []})"),
};
const Error error{"no_device", "nothing on \xFF\x1b", "look again"};

std::pair<std::string, std::string> show(Format format, const std::vector<Record> &records,
                                         const std::vector<Error> &errors, bool live = false)
{
    View view{"discover", {}, live};
    view.columns.push_back({"NAME", "name", 9});
    for (const char *pField : {"ip", "dhcp", "interfaces"})
        view.columns.push_back({pField, pField});
    std::ostringstream out, err;
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
    const auto [out, err] = show(Format::table, devices, {error});
    EXPECT_EQ(out, "NAME       ip         dhcp  interfaces\n"
                   "H\u00f6rsaal    10.1.2.9   on    eth0,eth1\n"
                   "\\x1b[2J    -          off   eth0\n"
                   "-          10.1.2.10  -     -\n");
    EXPECT_EQ(err, "vxpctl: nothing on \\xff\\x1b\n  hint: look again\n");
    EXPECT_EQ(show(Format::table, {devices[1], devices[0]}, {}, true).first,
              "NAME       ip  dhcp  interfaces\n"
              "\\x1b[2J    -  off  eth0\n"
              "H\u00f6rsaal    10.1.2.9  on  eth0,eth1\n");
}

TEST(Writer, EnvelopeHasOneShape)
{
    EXPECT_EQ(Record::parse(show(Format::json, {}, {}).first),
              Record::parse(R"({"schema": "vxpctl/1", "command": "discover", "devices": [], "errors": []})"));
    const auto [out, err] = show(Format::json, devices, {error});
    EXPECT_EQ(Record::parse(out)["devices"], Record(devices));
    EXPECT_EQ(Record::parse(out)["errors"], Record::parse(R"([{"code": "no_device",
        "message": "nothing on \\xff\u001b", "hint": "look again", "device": null}])"));
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](unsigned char c) { return c == '\n' || (c >= 32 && c < 127); }))
        << "nothing that a terminal acts on";
    EXPECT_EQ(err, "");
    EXPECT_EQ(show(Format::jsonl, {devices[1]}, {error}).first,
              R"({"schema":"vxpctl/1","command":"discover","device":{"name":"\u001b[2J","ip":null,"dhcp":false,)"
              R"("interfaces":["eth0"]}})"
              "\n"
              R"({"schema":"vxpctl/1","command":"discover","error":{"code":"no_device","message":)"
              R"("nothing on \\xff\u001b","hint":"look again","device":null}})"
              "\n");
}

} // namespace
