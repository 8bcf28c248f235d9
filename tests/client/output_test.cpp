// SPDX-License-Identifier: Apache-2.0
//
// What is chosen of the output, who is meant by a target, and what a trace covers.
#include "client/operations.h"
#include "client/target.h"
#include "client/writer.h"

#include <gtest/gtest.h>
#include <sstream>

using namespace vxpctl;

namespace
{

const std::vector<Record> devices{
    Record::parse(R"({"name": "a,\"b\"", "ip": "10.1.2.10", "dhcp": true, "dns": [], "from": null})"),
    Record::parse(
        R"({"name": "c\u001b", "ip": "10.1.2.9", "dhcp": false, "dns": ["1.1.1.1", "2.2.2.2"], "from": "x"})"),
};

std::string show(Format format, const Selection &selection, bool listed = false)
{
    std::ostringstream out, err;
    const View view{"show", listed ? std::vector<Column>{} : std::vector<Column>{{"NAME", "name"}, {"IP", "ip"}}};
    const auto writer = makeWriter(format, view, selection, out, err);
    for (const Record &record : devices)
        writer->device(record);
    const ExitCode code = writer->finish();
    return out.str() + err.str() + (code == ExitCode::done ? "" : "exit " + std::to_string(static_cast<int>(code)));
}

TEST(Output, FormatsFieldsAndOrder)
{
    const struct {
        const char *pWhat;
        Format format;
        Selection selection;
        bool listed;
        const char *pShown;
    } cases[] = {
        {"all columns",
         Format::wide,
         {},
         false,
         "NAME   IP         DHCP  DNS              FROM\n"
         "a,\"b\"  10.1.2.10  on    -                -\n"
         "c\\x1b  10.1.2.9   off   1.1.1.1,2.2.2.2  x\n"},
        {"CSV",
         Format::csv,
         {},
         false,
         "name,ip,dhcp,dns,from\r\n\"a,\"\"b\"\"\",10.1.2.10,true,,\r\nc\\x1b,10.1.2.9,false,\"1.1.1.1,2.2.2.2\","
         "x\r\n"},
        {"bare values, addresses by their octets",
         Format::value,
         {{"ip", "dhcp"}, "ip"},
         false,
         "10.1.2.9\tfalse\n10.1.2.10\ttrue\n"},
        {"the other way round", Format::value, {{"ip"}, "-ip"}, false, "10.1.2.10\n10.1.2.9\n"},
        {"names and values",
         Format::table,
         {{"ip", "from"}, ""},
         false,
         "IP         FROM\n10.1.2.10  -\n10.1.2.9   x\n"},
        {"a field that is not there",
         Format::value,
         {{"colour"}, ""},
         false,
         "\n\nvxpctl: no record has a field 'colour'\n  hint: the fields are dhcp, dns, from, ip, name\nexit 2"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(show(c.format, c.selection, c.listed), c.pShown) << c.pWhat;
    EXPECT_EQ(show(Format::table, {}, true).substr(0, 29), "name  a,\"b\"\nip    10.1.2.10\nd");
    EXPECT_EQ(Record::parse(show(Format::json, {{"ip"}, "ip"}))["devices"],
              Record::parse(R"([{"ip": "10.1.2.9"}, {"ip": "10.1.2.10"}])"));
}

TEST(Target, FormTellsWhatIsMeant)
{
    const struct {
        const char *pText, *pMeant; // null: refused
    } cases[] = {
        {"02:4B:65:73:74:01", "mac=02:4b:65:73:74:01"},
        {"02-4b-65-73-74-01", "mac=02:4b:65:73:74:01"},
        {"02:4b-65:73:74:01", "name=02:4b-65:73:74:01"},
        {"10.1.2.3", "ip=10.1.2.3"},
        {"name:10.1.2.3", "name=10.1.2.3"},
        {"10.1.2", "name=10.1.2"},
        {"Front desk", "name=Front desk"},
        {"mac:10.1.2.3", nullptr},
        {"ip:Lobby", nullptr},
        {"name:", nullptr},
        {"", nullptr},
    };
    for (const auto &c : cases) {
        try {
            const Target target = parseTarget(c.pText);
            EXPECT_EQ(target.field + "=" + target.value, c.pMeant ? c.pMeant : "a refusal") << c.pText;
        } catch (const Failure &failure) {
            EXPECT_EQ(c.pMeant, nullptr) << c.pText;
            EXPECT_EQ(failure.exitCode(), ExitCode::usage);
        }
    }
}

// Every byte is a letter, so each that is still one afterwards is shown.
TEST(Trace, SecretFieldsAreCoveredWhateverTheirLength)
{
    const struct {
        const char *pWhat;
        std::uint8_t first, second; // of the operation
        bool reply;
        std::size_t size;                                      // of the body
        std::vector<std::pair<std::size_t, std::size_t>> gaps; // body bytes from, to, that are covered
    } cases[] = {
        {"any credentials", 0xA3, 0, false, 128, {{64, 128}}},
        {"a new password", 0xA4, 0, false, 256, {{64, 128}, {192, 256}}},
        {"DDNS, set", 0xA7, 0, false, 452, {{64, 128}, {128 + 196, 128 + 260}}},
        {"DDNS, get", 0xA6, 0, true, 525, {{196, 260}}},
        {"communities", 0xD4, 0, false, 65, {{1, 65}}},
        {"wireless keys", 0xD8, 0, true, 451, {{3, 451}}},
        {"cut off", 0xD4, 0, false, 20, {{1, 20}}},
        {"no secret", 0xA1, 0, true, 483, {}},
    };
    for (const auto &c : cases) {
        std::vector<std::uint8_t> frame(22 + c.size, 'A');
        frame[0] = c.reply ? 0xEE : 0xFD;
        frame[1] = c.reply ? 0xFE : 0xFD;
        frame[4] = c.first;
        frame[5] = c.second;
        std::vector<std::uint8_t> expected = frame;
        for (const auto &[from, to] : c.gaps)
            std::fill(expected.begin() + 22 + static_cast<long>(from), expected.begin() + 22 + static_cast<long>(to),
                      0);
        auto covered = withoutSecrets(frame);
        std::replace(covered.begin() + 22, covered.end(), std::uint8_t{'*'}, std::uint8_t{0});
        EXPECT_EQ(covered, expected) << c.pWhat;
    }
}

} // namespace
