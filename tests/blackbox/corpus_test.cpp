// SPDX-License-Identifier: Apache-2.0
//
// The same bytes on every machine: a thousand requests, each with its store, made here in the same way every time, and
// what a daemon on x86-64 made of them, in tests/corpus/replies.txt. Its lines are CASE, request, reply, effects,
// worker (see compact and recording_store.cpp), with tabs in between; script/corpus writes them. What is right, the
// other tests say for a case of each kind.
#include "tests/blackbox/effects.h"

#include <set>
#include <sstream>

namespace
{

struct Case {
    std::string strName;
    std::string strStore;
    Bytes datagram;
};

struct Operation {
    int iCode;
    Bytes body;                  // one that is accepted
    std::vector<size_t> offsets; // of first and last bytes of its fields, and of what stands beside them
};

// Transfers go by HTTP, whose check fails (below), for that leaves no state behind.
std::vector<Operation> operations()
{
    const Bytes basic = text("attic", 64) + hex("c0 a8 4d 63  50 00  aa 01  ff ff 00 00  c0 a8 4d 01") +
                        hex("08 08 08 08  09 09 09 c8  00  20 01 0d b8") + zeros(11) + hex("09  40  fe 80") +
                        zeros(13) + hex("09") + Bytes(32, '\x11') + zeros(1);
    const Bytes account = USER + text("bmV3ZXI=", 64);
    const Bytes clock = text("20240229235959", 16) + hex("c8 00 01 01") + text("pool.example", 64) + zeros(16);
    const Bytes names = zeros(129) + hex("02 00 05") + text("user", 64) + text("pass", 64) + text("a.example", 64);
    Bytes networks = hex("01 00");
    for (int i = 0; i < 8; i++)
        networks += text("net" + std::to_string(i), 32) + text(std::to_string(100 * i), 4) +
                    text(std::to_string(i), 4) + text("key-" + std::to_string(i), 16);
    const Bytes vlan = text("lead", 32) + hex("44 33 22 11") + zeros(130);
    const Bytes snmp = hex("01") + text("public", 32) + text("private", 32);
    std::vector<Operation> result = {
        {0xA2, basic, {0, 63, 64, 68, 69, 71, 72, 79, 88, 89, 104, 105, 106, 121, 154}},
        {0xA4, account, {0, 7, 63, 64, 72, 127}},
        {0xA7, names, {0, 129, 130, 131, 132, 195, 196, 260, 323}},
        {0xAD, clock, {0, 13, 16, 17, 18, 19, 20, 83, 99}},
        {0xD1, networks, {0, 2, 33, 34, 37, 38, 41, 42, 57, 58, 449}},
        {0xD2, vlan, {32, 33, 35, 36, 37, 101, 102, 165}},
        {0xD4, snmp, {0, 1, 32, 33, 64}},
    };
    for (int iCode : {0x100, 0x101, 0x102})
        for (const Bytes &body : {HTTP4 + FILE_NAME, QUERY})
            result.push_back({iCode, body, {0, 1, 2, 3, 6, 7, 134}});
    result.push_back({0x102, HTTP6 + FILE_NAME, {3, 18, 19}});
    for (int iCode : {0xA1, 0xA3, 0xA5, 0xA6, 0xAA, 0xAB, 0xAC, 0xC0, 0xC9, 0xD0, 0xD8, 0x103})
        result.push_back({iCode, {}, {}});
    return result;
}

// Numbers beyond 16, 32 and 64 bits, signs, other bases, and characters beyond 7 bits: texts that machines read
// differently.
constexpr char VALUES[] = "|0|-1|127|128|255|256|32768|65536|2147483647|2147483648|-2147483649|0x10|4294967295|"
                          "4294967296|9223372036854775808|18446744073709551616| +7|010|\xe9\x80\xff";
const std::pair<int, const char *> READS[] = {
    {0xA1, "management static-ipv6-prefix-length"},
    {0xA1, "ip-route gateway"},
    {0xA1, "host static-dns-1"},
    {0xD0, "management mask"},
    {0xD0, "system system-name"},
    {0xD8, "interface/wlan0 security: wpa-personal | interface/wlan0 wpa-personal-key"},
    {0x100, "firmware-upgrade progress"},
    {0x102, "config status"}};

void addForms(std::vector<Case> &cases, const Operation &operation)
{
    const std::string strCode =
        formatted("op 0x%04X", operation.iCode) + " body " + std::to_string(operation.body.size()) + ": ";
    const Bytes head = takesCredentials(operation.iCode) ? CREDENTIALS : Bytes{}, whole = head + operation.body;
    const auto add = [&](const std::string &strForm, const Bytes &datagram) {
        cases.push_back({strCode + strForm, "", datagram});
    };
    for (int iTag : {0x0000, 0x00FF, 0xFF00, 0x1234})
        add("tag " + std::to_string(iTag), request(operation.iCode, iTag, whole));
    add("to all", request(operation.iCode, 1, whole, ALL, TO_ALL));
    add("flag in network order", request(operation.iCode, 1, whole, OWN, hex("00 77")));
    add("another MAC", request(operation.iCode, 1, whole, hex("01 73 74 65 4b 02  c0 a8 4d 0a")));
    add("another address", request(operation.iCode, 1, whole, hex("02 4b 65 73 74 01  0a 4d a8 c0")));
    add("code in network order", request((operation.iCode & 0xFF) << 8 | operation.iCode >> 8, 1, whole));
    if (!head.empty())
        add("wrong password", request(operation.iCode, 1, WRONG_CREDENTIALS));
    for (size_t uSize : std::set{size_t{1}, whole.size() / 2, whole.size() - 1, whole.size() + 1})
        if (!whole.empty())
            add("body of " + std::to_string(uSize), request(operation.iCode, 1, text(whole, uSize)));
    add("all ff", request(operation.iCode, 1, head + Bytes(600, '\xff')));
    add("text without end", request(operation.iCode, 1, head + operation.body.substr(0, 3) + Bytes(1200, 'a')));
    for (size_t uOffset : operation.offsets)
        for (int iByte : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
            Bytes body = operation.body;
            if (uOffset >= body.size() || body[uOffset] == static_cast<char>(iByte))
                continue;
            body[uOffset] = static_cast<char>(iByte);
            add("byte " + std::to_string(uOffset) + " is " + std::to_string(iByte),
                request(operation.iCode, 1, head + body));
        }
}

std::vector<Case> corpus()
{
    std::vector<Case> cases;
    for (const Operation &operation : operations())
        addForms(cases, operation);
    for (int iCode = 0x9F; iCode <= 0x104; iCode++) // those in the table answer without credentials: refused
        cases.push_back({formatted("op 0x%04X", iCode) + " alone", "", request(iCode, 1)});
    const Bytes neighbour = request(0xD0, 1);
    for (size_t uSize = 0; uSize < neighbour.size(); uSize++)
        cases.push_back({"header cut to " + std::to_string(uSize), "", neighbour.substr(0, uSize)});
    // Around the receive buffer; the most that UDP carries.
    for (size_t uSize : {size_t{4095}, size_t{4096}, size_t{4097}, size_t{65507}})
        cases.push_back({"datagram of " + std::to_string(uSize), "", text(neighbour, uSize)});
    for (const auto &[iCode, strField] : READS)
        for (const std::string &strValue : split(VALUES, "|"))
            cases.push_back({formatted("op 0x%04X", iCode) + " reads " + strField + " '" + strValue + "'",
                             std::string(strField) + ": " + strValue, asOperation(iCode, 1, hex("02"))});
    return cases;
}

std::string printable(const std::string &strText)
{
    std::string strResult;
    for (char ch : strText)
        strResult += formatted(ch < ' ' || ch > '~' ? "\\x%02x" : "%c", static_cast<unsigned char>(ch));
    return strResult;
}

class Corpus : public Effects
{
protected:
    std::string worker() const { return printable(noted("worker")); }

    // The line but for the worker. The daemon has done what the case makes it do when it answers another request.
    std::string outcome(const Case &is)
    {
        prepare(is.strStore, "date: echo 20240229235959 | config-file: exit 1");
        Bytes frames;
        for (const Bytes &frame : askAll({is.datagram}))
            frames += frame;
        return printable(is.strName) + "\t" + compact(is.datagram) + "\t" + compact(frames) + "\t" +
               printable(noted("effects")) + "\t";
    }
};

TEST_F(Corpus, SameBytesEverywhere)
{
    constexpr char EXPECTED[] = VXP_SOURCE_DIR "/tests/corpus/replies.txt";
    const char *const strRecord = getenv("VXP_RECORD");
    std::istringstream expected(readFile(EXPECTED));
    std::string strLine, strAll;
    const auto cases = corpus();
    ASSERT_GE(cases.size(), 500u);
    for (const Case &is : cases) {
        std::getline(expected, strLine);
        const std::string strOutcome = outcome(is), strWorker = strLine.substr(strLine.rfind('\t') + 1);
        if (strRecord) {
            while (noted("effects").find("=config upgrade") != std::string::npos &&
                   worker().find("=failed") == std::string::npos)
                usleep(1000);
            strAll += strOutcome + worker() + "\n";
            continue;
        }
        eventually([&] { return worker() == strWorker; });
        EXPECT_EQ(strOutcome + worker(), strLine);
    }
    EXPECT_FALSE(std::getline(expected, strLine) && !strRecord) << "there are lines of cases that are no more";
    if (strRecord)
        writeFile(strRecord, strAll);
}

} // namespace
