// SPDX-License-Identifier: Apache-2.0
//
// docs/protocol.md against the source: what it says of records, operations and numbers is true and whole.
#include "daemon/request.h"
#include "req_func/bodies.h"
#include "tests/docs/text.h"
#include "tests/unit/fake_store.h"

#include <set>

using std::string;

namespace
{

// A record's size, and name, offset and width of its fields.
using Layout = std::pair<size_t, std::vector<std::tuple<string, size_t, size_t>>>;
using Layouts = std::map<string, Layout>;

const string PAGE = sourceFile("docs/protocol.md");

// The page's tables, each under the caption "`Record` (N bytes)" that stands before it in its section.
Layouts documentedRecords()
{
    Layouts records;
    Layout *current = nullptr;
    for (const auto &match : allMatches(PAGE, "`(\\w+)` \\((\\d+) bytes?\\)"
                                              "|^\\| (\\d+) \\| (\\d+) \\| `(\\w+)` \\||^#")) {
        if (!match[1].empty()) {
            EXPECT_FALSE(records.contains(match[1])) << match[1] << " has two tables";
            current = &records[match[1]];
            current->first = std::stoul(match[2]);
        } else if (match[5].empty()) {
            current = nullptr;
        } else if (current) {
            current->second.emplace_back(match[5], std::stoul(match[3]), std::stoul(match[4]));
        } else {
            ADD_FAILURE() << "no caption before: " << match[0];
        }
    }
    return records;
}

// The records as the headers declare them. Each must end where the compiler has found its end.
Layouts declaredRecords()
{
    std::map<string, size_t> widths = {{"char", 1}, {"uint8_t", 1},  {"Le16", 2},
                                       {"Le32", 4}, {"uint16_t", 2}, {"uint32_t", 4}};
    Layouts records;
    for (const char *path : {"daemon/message.h", "req_func/bodies.h"})
        for (const auto &record : allMatches(sourceFile(path), "^struct (\\w+) \\{([^]*?)^\\};\n"
                                                               "static_assert\\(sizeof\\(\\1\\) == (\\d+)")) {
            auto &[size, fields] = records[record[1]];
            for (const auto &field : allMatches(record[2], "^    (\\w+) (\\w+)(?:\\[(\\w+)\\])?;")) {
                const size_t count = field[3].empty() ? 1 : field[3] == "VAP_COUNT" ? VAP_COUNT : std::stoul(field[3]);
                fields.emplace_back(field[2], size, widths.at(field[1]) * count);
                size += widths.at(field[1]) * count;
            }
            EXPECT_EQ(size, std::stoul(record[3])) << record[1];
            widths[record[1]] = size;
        }
    return records;
}

TEST(ProtocolPage, HasATableForEachRecordWithItsFields)
{
    const Layouts declared = declaredRecords();
    EXPECT_EQ(declared.size(), 21u);
    EXPECT_THAT(documentedRecords(), testing::ContainerEq(declared));
}

TEST(ProtocolPage, GivesTheNumbersOfTheHeader)
{
    const auto numbers = [](const string &text, const char *pattern) {
        std::map<string, unsigned long> found;
        for (const auto &match : allMatches(text, pattern))
            found[match[1]] = std::stoul(match[2], nullptr, 0);
        return found;
    };
    const auto declared = numbers(sourceFile("daemon/message.h"), "\\b(VXP_(?!OP_)\\w+) = (\\w+)[,;]");
    EXPECT_EQ(declared.size(), 14u);
    EXPECT_EQ(numbers(PAGE, "^\\| `(VXP_\\w+)` \\| (\\w+) \\|"), declared);
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

using ProtocolPageStore = StoreTest;

TEST_F(ProtocolPageStore, DescribesEveryOperationAndListsItsPasswordAndReplyLength)
{
    g_fakeStore.values["management interface"] = "brtrunk";
    Layouts records = declaredRecords();
    std::vector<std::tuple<int, bool, int>> documented, served;
    for (const auto &match : allMatches(PAGE, "^\\| 0x(\\w{4}) \\| [^|]+ \\| (yes|no) \\| (?:yes|no) \\| [^|]+ \\| "
                                              "(?:`(\\w+)`|list) \\| (\\d+) \\|$")) {
        documented.emplace_back(std::stoi(match[1], nullptr, 16), match[2] == "yes", std::stoi(match[4]));
        if (!match[3].empty()) {
            EXPECT_EQ(sizeof(message_t) + records[match[3]].first, std::stoul(match[4])) << match[0];
        }
    }
    std::multiset<int> described, codes;
    for (const auto &heading : allMatches(PAGE, "^### 0x.*$"))
        for (const auto &code : allMatches(heading[0], "0x(\\w{4})"))
            described.insert(std::stoi(code[1], nullptr, 16));
    for (const RequestEntry *entry = g_ReqFunc; entry->pHandler; entry++) {
        served.emplace_back(entry->uOP_Code, entry->bAuth, replyLength(*entry));
        codes.insert(entry->uOP_Code);
    }
    EXPECT_EQ(documented, served);
    EXPECT_EQ(described, codes);
}

} // namespace
