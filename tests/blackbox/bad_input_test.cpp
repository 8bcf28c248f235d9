// SPDX-License-Identifier: Apache-2.0
//
// Datagrams of every length and with every header value, and random ones. What must be answered, and with what header,
// is worked out here from the protocol's rules; all else must get no answer, and nothing may end the daemon.
#include "tests/blackbox/driver.h"

#include <algorithm>
#include <iterator>
#include <random>

namespace
{

// The header of the reply to a datagram, and the reply's whole length.
struct Expected {
    Bytes header;
    size_t uSize;
};

Expected refusal(const Bytes &frame, const Bytes &flag)
{
    return {hex("ee fe") + frame.substr(2, 14) + flag + hex("02 00  00 00"), 22};
}

// What is served, and the length of the reply's body.
struct Operation {
    uint16_t uCode;
    bool bAuth;
    bool bOwnIdentity;
    const char *strBodyLength;
    bool bTool; // a process or more for each
};

constexpr Operation OPERATIONS[] = {
    {0xA1, false, true, "e3 01", true},   {0xA2, true, false, "10 00", false},  {0xA3, true, false, "04 00", false},
    {0xA4, true, false, "10 00", true},   {0xA5, true, false, "24 00", false},  {0xA6, true, false, "0d 02", false},
    {0xA7, true, false, "10 00", false},  {0xAA, true, false, "10 00", false},  {0xAB, true, false, "10 00", false},
    {0xAC, true, false, "64 00", true},   {0xAD, true, false, "10 00", false},  {0xC0, true, false, "10 00", false},
    {0xC9, true, false, "14 00", false},  {0xD0, false, true, "e7 00", false},  {0xD1, true, true, "c3 01", false},
    {0xD2, true, false, "10 00", true},   {0xD4, false, false, "10 00", false}, {0xD8, true, true, "c3 01", false},
    {0x100, false, false, "82 00", true}, {0x101, false, false, "82 00", true}, {0x102, false, false, "82 00", true},
    {0x103, false, false, "10 00", false}};

std::optional<Expected> expectedReply(Bytes frame)
{
    if (frame.empty())
        return std::nullopt;
    frame.resize(std::max<size_t>(frame.size(), 22 + 128)); // zero-extended
    const uint16_t uOperation = word(frame, 4);
    const bool bForAll = uOperation == 0xA1 || uOperation == 0xA5 || uOperation == 0xD0;
    const bool bToAll = frame.substr(16, 2) == TO_ALL && frame.substr(6, 10) == ALL && bForAll;
    const bool bToOne = frame.substr(16, 2) == TO_ONE && frame.substr(6, 10) == OWN;
    if (word(frame, 0) != 0xFDFD || !(bToAll || bToOne))
        return std::nullopt;

    const auto *const pServed = std::find_if(std::begin(OPERATIONS), std::end(OPERATIONS),
                                             [&](const Operation &is) { return is.uCode == uOperation; });
    if (pServed == std::end(OPERATIONS))
        return refusal(frame, hex("03 00"));
    if (pServed->bAuth && frame.substr(22 + 64, 13) != text("a2VzdHJlbC05", 13))
        return refusal(frame, hex("02 00"));
    const Bytes length = hex(pServed->strBodyLength);
    return Expected{hex("ee fe") + frame.substr(2, 4) + (pServed->bOwnIdentity ? OWN : frame.substr(6, 10)) +
                        hex("00 00  02 00") + length,
                    22u + word(length, 0)};
}

class BlackboxBadInput : public Blackbox
{
protected:
    // The tools do no harm, and nothing else.
    AccessPoint &m_device =
        start({.strBefore = "for tool in submit config-dump config-file flash-validate flash-upgrade "
                            "firmware-upgrade wget tftp killall; do\n"
                            "ln -s /bin/true /usr/sbin/$tool; done"});
    const pid_t m_iDaemon = m_device.daemon();

    // Send all, and compare the answers with the rules.
    void sendAll(const std::vector<Bytes> &datagrams)
    {
        std::vector<Expected> expected;
        for (const Bytes &datagram : datagrams)
            if (const auto reply = expectedReply(datagram.substr(0, 4096)))
                expected.push_back(*reply);
        const std::vector<Bytes> answers = askAll(datagrams);
        EXPECT_EQ(answers.size(), expected.size());
        for (size_t i = 0; i < std::min(answers.size(), expected.size()); i++) {
            ASSERT_TRUE(same(expected[i].header, answers[i].substr(0, 22))) << "answer " << i;
            ASSERT_EQ(answers[i].size(), expected[i].uSize) << "answer " << i;
        }
    }

    void TearDown() override
    {
        EXPECT_EQ(m_device.daemon(), m_iDaemon);
        EXPECT_EQ(ask(request(0xD0, 1)).size(), 253u);
    }
};

// Those, and two that are not served.
std::vector<uint16_t> codes()
{
    std::vector<uint16_t> result = {0x99, 0x104};
    for (const Operation &is : OPERATIONS)
        result.push_back(is.uCode);
    return result;
}

bool takesProcess(uint16_t uCode)
{
    return std::any_of(std::begin(OPERATIONS), std::end(OPERATIONS),
                       [&](const Operation &is) { return is.uCode == uCode && is.bTool; });
}

// Whole datagrams as long as can be sent, with text that has no end.
Bytes endless(uint16_t uOperation, const Bytes &to, const Bytes &flag)
{
    return request(uOperation, 7, CREDENTIALS + Bytes(65507 - 22 - 128, 'A'), to, flag);
}

TEST_F(BlackboxBadInput, EveryLength)
{
    std::vector<Bytes> datagrams;
    for (uint16_t uOperation : codes()) {
        const Bytes whole = endless(uOperation, OWN, TO_ONE), toAll = endless(uOperation, ALL, TO_ALL);
        for (size_t uLen = 0; uLen <= 600; uLen += takesProcess(uOperation) && uLen > 40 ? 20 : 1)
            datagrams.push_back((uLen % 2 ? toAll : whole).substr(0, uLen));
        for (unsigned uLen : {1472u, 1473u, 4095u, 4096u, 4097u, 8192u, 65506u, 65507u})
            datagrams.push_back(whole.substr(0, uLen));
    }
    sendAll(datagrams);
}

TEST_F(BlackboxBadInput, EveryHeaderByte)
{
    std::vector<Bytes> datagrams;
    for (const Bytes &base : {request(0xD0, 7), request(0xD0, 7, {}, ALL, TO_ALL), request(0xA3, 7, CREDENTIALS)})
        for (size_t uOffset = 0; uOffset < 22; uOffset++)
            for (int iValue = 0; iValue < 256; iValue++) {
                datagrams.push_back(base);
                datagrams.back()[uOffset] = static_cast<char>(iValue);
            }
    sendAll(datagrams);
}

TEST_F(BlackboxBadInput, TextWithoutEnd)
{
    std::vector<Bytes> datagrams;
    for (uint16_t uOperation : codes())
        for (const Bytes &fill : {hex("ff"), hex("00"), Bytes("A"), Bytes("="), Bytes("%"), Bytes("\n")})
            for (unsigned uLen : {1u, 63u, 64u, 65u, 127u, 128u, 129u, 640u, 4074u, 4075u, 65485u}) {
                Bytes body;
                while (body.size() < uLen)
                    body += fill;
                datagrams.push_back(request(uOperation, 7, body));
            }
    sendAll(datagrams);
}

TEST_F(BlackboxBadInput, Random)
{
    std::mt19937 random(20240607); // NOLINT: the same datagrams at every run
    const auto below = [&](unsigned uLimit) { return random() % uLimit; };
    const std::vector<uint16_t> operations = codes();
    std::vector<Bytes> datagrams;
    for (int i = 0; i < 3000; i++) {
        Bytes datagram(below(i % 50 ? 700 : 9000), '\0');
        for (char &ch : datagram)
            ch = static_cast<char>(below(256));
        // Right up to some point, so that most get past the first look.
        const uint16_t uOperation = operations[below(static_cast<unsigned>(operations.size()))];
        const Bytes right = below(2) ? request(uOperation, 7, CREDENTIALS) : request(uOperation, 7, {}, ALL, TO_ALL);
        const size_t uRight = std::min<size_t>({datagram.size(), right.size(), below(200)});
        datagram.replace(0, uRight, right, 0, uRight);
        datagrams.push_back(datagram);
    }
    sendAll(datagrams);
}

} // namespace
