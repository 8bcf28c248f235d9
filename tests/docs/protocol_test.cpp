// SPDX-License-Identifier: Apache-2.0
//
// docs/protocol.md against the source: what it says of records, operations and numbers is true and whole.
#include "daemon/request.h"
#include "req_func/bodies.h"
#include "tests/unit/fake_store.h"

#include <gmock/gmock.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

using std::string;

namespace
{

struct Field {
    string name;
    size_t offset, width;
    bool operator==(const Field &) const = default;
};

[[maybe_unused]] void PrintTo(const Field &field, std::ostream *out)
{
    *out << field.name << " at " << field.offset << ", " << field.width << " wide";
}

struct Layout {
    size_t size = 0;
    std::vector<Field> fields{};
};

using Layouts = std::map<string, Layout>;

#define N(name)                                                                                                        \
    {                                                                                                                  \
        #name, name                                                                                                    \
    }
const std::map<string, size_t> NUMBERS = {
    N(VXP_REQUEST_PORT), N(VXP_REPLY_PORT),  N(VXP_ID_REQUEST),       N(VXP_ID_REPLY),          N(VXP_ID_ANNOUNCEMENT),
    N(VXP_TO_ALL),       N(VXP_TO_ONE),      N(VXP_HANDLED),          N(VXP_AUTH_FAILED),       N(VXP_NOT_SUPPORTED),
    N(VXP_VERSION),      N(VXP_BUFFER_SIZE), N(VXP_CREDENTIALS_SIZE), N(VXP_ANNOUNCE_INTERVAL),
};

string read(const char *path)
{
    std::ifstream file(string(VXP_SOURCE_DIR) + path);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

const string &page()
{
    static const string text = read("/docs/protocol.md");
    return text;
}

// The groups of each match; group 0 is the whole.
std::vector<std::vector<string>> allMatches(const string &text, const char *pattern)
{
    const std::regex expression(pattern, std::regex::multiline);
    std::vector<std::vector<string>> matches;
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match)
        matches.emplace_back(match->begin(), match->end());
    return matches;
}

// The page's tables, each under the caption "`Record` (N bytes)" that stands before it.
Layouts documentedRecords()
{
    static const std::regex caption("`(\\w+)` \\((\\d+) bytes?\\)");
    static const std::regex row("\\| (\\d+) \\| (\\d+) \\| `(\\w+)` \\|.*");
    Layouts records;
    Layout *current = nullptr;
    std::istringstream lines(page());
    for (string line; std::getline(lines, line);) {
        std::smatch match;
        if (std::regex_search(line, match, caption)) {
            EXPECT_FALSE(records.contains(match[1])) << match[1] << " has two tables";
            current = &records[match[1]];
            current->size = std::stoul(match[2]);
        } else if (std::regex_match(line, match, row)) {
            EXPECT_TRUE(current) << "no caption before: " << line;
            if (current)
                current->fields.push_back({match[3], std::stoul(match[1]), std::stoul(match[2])});
        } else if (line.starts_with("#")) {
            current = nullptr; // a table belongs to a caption of its own section
        }
    }
    return records;
}

// The records as the headers declare them. Each must end where the compiler has found its end.
const Layouts &declaredRecords()
{
    static const Layouts records = [] {
        std::map<string, size_t> widths = {{"char", 1}, {"uint8_t", 1},  {"Le16", 2},
                                           {"Le32", 4}, {"uint16_t", 2}, {"uint32_t", 4}};
        Layouts result;
        for (const char *path : {"/daemon/message.h", "/req_func/bodies.h"})
            for (const auto &record : allMatches(read(path), "^struct (\\w+) \\{([^]*?)^\\};\n"
                                                             "static_assert\\(sizeof\\(\\1\\) == (\\d+)")) {
                Layout &layout = result[record[1]];
                for (const auto &field : allMatches(record[2], "^    (\\w+) (\\w+)(?:\\[(\\w+)\\])?;")) {
                    const size_t count = field[3].empty()          ? 1
                                         : field[3] == "VAP_COUNT" ? VAP_COUNT
                                                                   : std::stoul(field[3]);
                    layout.fields.push_back({field[2], layout.size, widths.at(field[1]) * count});
                    layout.size += layout.fields.back().width;
                }
                EXPECT_EQ(layout.size, std::stoul(record[3])) << record[1];
                widths[record[1]] = layout.size;
            }
        return result;
    }();
    return records;
}

TEST(ProtocolPage, HasATableForEachRecordWithItsFields)
{
    const Layouts documented = documentedRecords();
    for (const auto &[name, layout] : declaredRecords()) {
        ASSERT_TRUE(documented.contains(name)) << name;
        EXPECT_EQ(documented.at(name).size, layout.size) << name;
        EXPECT_EQ(documented.at(name).fields, layout.fields) << name;
    }
    EXPECT_EQ(documented.size(), 21u);
    EXPECT_EQ(documented.size(), declaredRecords().size());
}

TEST(ProtocolPage, GivesTheNumbersOfTheHeader)
{
    std::map<string, size_t> documented;
    for (const auto &match : allMatches(page(), "^\\| `(VXP_\\w+)` \\| (\\w+) \\|"))
        documented[match[1]] = std::stoul(match[2], nullptr, 0);
    EXPECT_EQ(documented, NUMBERS);
}

// What a handler answers to a body of letters, which every operation refuses or takes without running a command but
// "date".
uint16_t replyLength(const RequestEntry &entry)
{
    std::vector<uint8_t> body(VXP_BUFFER_SIZE, 'x');
    body.back() = 0;
    std::vector<message_t> reply(VXP_BUFFER_SIZE / sizeof(message_t) + 1);
    const message_t request = {VXP_ID_REQUEST, 0, entry.uOP_Code, {}, {}, VXP_TO_ONE, VXP_VERSION, 0};
    const uint16_t length = entry.pHandler(&request, body.data(), reply.data(), VXP_BUFFER_SIZE);
    message_to_CPU(reply.data());
    EXPECT_EQ(sizeof(message_t) + reply[0].uBodyLen, length) << entry.uOP_Code;
    return length;
}

// Of a record whose name stands in back-quotes.
size_t sizeOf(const string &quoted)
{
    const auto record = declaredRecords().find(quoted.substr(1, quoted.size() - 2));
    return record == declaredRecords().end() ? 0 : record->second.size;
}

using ProtocolPageStore = StoreTest;

TEST_F(ProtocolPageStore, ListsEveryOperationWithPasswordAndReplyLength)
{
    g_fakeStore.values["management interface"] = "brtrunk";
    std::vector<std::tuple<int, bool, int>> documented, served;
    for (const auto &match : allMatches(
             page(), "^\\| 0x(\\w{4}) \\| [^|]+ \\| (yes|no) \\| (?:yes|no) \\| [^|]+ \\| ([^|]+) \\| (\\d+) \\|$")) {
        documented.emplace_back(std::stoi(match[1], nullptr, 16), match[2] == "yes", std::stoi(match[4]));
        if (match[3] != "list") {
            EXPECT_EQ(sizeof(message_t) + sizeOf(match[3]), std::stoul(match[4])) << match[0];
        }
    }
    for (const RequestEntry *entry = g_ReqFunc; entry->pHandler; entry++)
        served.emplace_back(entry->uOP_Code, entry->bAuth, replyLength(*entry));
    EXPECT_EQ(documented, served);
}

TEST(ProtocolPage, HasASectionForEveryOperation)
{
    std::multiset<unsigned long> described, served;
    for (const auto &heading : allMatches(page(), "^### 0x.*$"))
        for (const auto &code : allMatches(heading[0], "0x(\\w{4})"))
            described.insert(std::stoul(code[1], nullptr, 16));
    for (const RequestEntry *entry = g_ReqFunc; entry->pHandler; entry++)
        served.insert(entry->uOP_Code);
    EXPECT_EQ(described, served);
}

} // namespace
