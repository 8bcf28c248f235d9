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
    std::vector<Field> fields;
};

using Layouts = std::map<string, Layout>;

#define F(field)                                                                                                       \
    Field                                                                                                              \
    {                                                                                                                  \
        #field, offsetof(T, field), sizeof(T::field)                                                                   \
    }
#define RECORD(record, ...)                                                                                              \
    {                                                                                                                    \
        #record, [] {                                                                                                  \
            using T = record;                                                                                          \
            return Layout{sizeof(T), {__VA_ARGS__}};                                                                   \
        }() \
    }

const Layouts RECORDS = {
    RECORD(message_t, F(uID), F(uReqTag), F(uOP_Code), F(ucMAC), F(ucIP), F(uFlag), F(uVersion), F(uBodyLen)),
    RECORD(status_t, F(uStatus), F(uReserved1), F(uReserved2), F(uReserved3)),
    RECORD(Credentials, F(strUser), F(strPassword)),
    RECORD(AnnouncementBody, F(strProduct), F(strCategory), F(strVersion), F(ucMAC), F(strHardwareVersion),
           F(strSerial), F(strSystemName), F(ucIP), F(ucMask), F(strAlias), F(ucIP6), F(ucPrefix6)),
    RECORD(DiscoverReply, F(strBrand), F(strProduct), F(strModel), F(strVersion), F(uProductType), F(uHardwareSpec),
           F(ucMAC), F(strSystemName), F(ucIP), F(uWebPort), F(ucZero274), F(ucDNS_Mode), F(ucMask), F(ucGateway),
           F(ucDNS1), F(ucDNS2), F(ucDHCP), F(strDateTime), F(ucZero309), F(ucDaylightSaving), F(strCategory),
           F(strHardwareVersion), F(strSerial), F(strAlias), F(ucIP6), F(ucPrefix6), F(ucGateway6), F(ucDNS6_1),
           F(ucDNS6_2), F(ucAuto6), F(ucAlert)),
    RECORD(UserVerifyReply, F(uResult)),
    RECORD(NetStatusReply, F(uDHCP_State), F(ucIP), F(ucReserved)),
    RECORD(NeighborReply, F(ucOne), F(strProduct), F(strCategory), F(strVersion), F(ucMAC), F(strSystemName), F(ucIP),
           F(ucMask), F(ucIP6), F(strAlias)),
    RECORD(SetBasicInfoRequest, F(strSystemName), F(ucIP), F(uWebPort), F(ucUnused70), F(ucManualDNS), F(ucMask),
           F(ucGateway), F(ucDNS1), F(ucDNS2), F(ucDHCP), F(ucIP6), F(ucPrefix6), F(ucGateway6), F(ucDNS6_1),
           F(ucDNS6_2), F(uDHCP_Setting6)),
    RECORD(ChangeAdminRequest, F(strUser), F(strPassword)),
    RECORD(DateTimeBody, F(strDateTime), F(ucTimeZone), F(ucZero17), F(ucDaylightSaving), F(ucNTP), F(strNTP_Server),
           F(ucReserved)),
    RECORD(NetAdvancedBody, F(ucReserved), F(ucFlags), F(ucStatus), F(ucProvider), F(strUser), F(strPassword),
           F(strDomain), F(ucProviderListLen), F(strProviderList)),
    RECORD(VAP_Entry, F(strSSID), F(strVLAN), F(strSecurity), F(strKey)),
    RECORD(MultiSSID_Request, F(ucBand), F(ucReserved), F(entries)),
    RECORD(MultiSSID_Reply, F(ucZero), F(ucBand), F(entries)),
    RECORD(VLAN_Request, F(strLeading), F(uVLAN), F(ucOption1), F(strOption1), F(ucOption2), F(strOption2)),
    RECORD(SNMP_Request, F(ucState), F(strReadOnly), F(strReadWrite)),
    RECORD(TransferHead, F(ucSubService), F(ucServerType), F(ucAddressType)),
    RECORD(TransferStart4, F(head), F(ucIP), F(strFile)),
    RECORD(TransferStart6, F(head), F(ucIP6), F(strFile)),
    RECORD(TransferReply, F(ucSubService), F(ucResult), F(strMessage)),
};

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

TEST(ProtocolPage, HasATableForEachRecordWithItsFields)
{
    const Layouts documented = documentedRecords();
    for (const auto &[name, layout] : RECORDS) {
        ASSERT_TRUE(documented.contains(name)) << name;
        EXPECT_EQ(documented.at(name).size, layout.size) << name;
        EXPECT_EQ(documented.at(name).fields, layout.fields) << name;
    }
    EXPECT_EQ(documented.size(), RECORDS.size());
}

TEST(ProtocolPage, KnowsEveryRecordAndEveryByteOfIt)
{
    std::set<string> declared;
    for (const char *path : {"/daemon/message.h", "/req_func/bodies.h"})
        for (const auto &match : allMatches(read(path), "^struct (\\w+) \\{"))
            declared.insert(match[1]);
    std::set<string> listed;
    for (const auto &[name, layout] : RECORDS) {
        listed.insert(name);
        size_t next = 0;
        for (const Field &field : layout.fields) {
            EXPECT_EQ(field.offset, next) << name << " has a field before " << field.name;
            next = field.offset + field.width;
        }
        EXPECT_EQ(next, layout.size) << name << " has a field at its end";
    }
    EXPECT_EQ(listed, declared);
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
    const auto record = RECORDS.find(quoted.substr(1, quoted.size() - 2));
    return record == RECORDS.end() ? 0 : record->second.size;
}

class ProtocolPageStore : public StoreTest
{
};

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
