// SPDX-License-Identifier: Apache-2.0
//
// Datagrams of every length and with every header value, and random ones. What must be answered, and with what header,
// is worked out here from the protocol's rules; all else must get no answer, and nothing may end the daemon.
#include "tests/blackbox/driver.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <span>

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

// What is served, and the length of the reply's body; 0: not served.
const std::map<uint16_t, uint16_t> OPERATIONS = {
    {0xA1, 483}, {0xA2, 16},  {0xA3, 4},    {0xA4, 16},   {0xA5, 36},   {0xA6, 525}, {0xA7, 16},  {0xAA, 16},
    {0xAB, 16},  {0xAC, 100}, {0xAD, 16},   {0xC0, 16},   {0xC9, 20},   {0xD0, 231}, {0xD1, 451}, {0xD2, 16},
    {0xD4, 16},  {0xD8, 451}, {0x100, 130}, {0x101, 130}, {0x102, 130}, {0x103, 16}, {0x99, 0},   {0x104, 0}};
constexpr uint16_t OWN_IDENTITY[] = {0xA1, 0xD0, 0xD1, 0xD8}, TOOLS[] = {0xA1, 0xA4, 0xAC, 0xD2, 0x100, 0x101, 0x102};

bool isOneOf(std::span<const uint16_t> codes, uint16_t uCode)
{
    return std::find(codes.begin(), codes.end(), uCode) != codes.end();
}

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

    const auto served = OPERATIONS.find(uOperation);
    if (served == OPERATIONS.end() || served->second == 0)
        return refusal(frame, hex("03 00"));
    if (takesCredentials(uOperation) && frame.substr(22 + 64, 13) != text("a2VzdHJlbC05", 13))
        return refusal(frame, hex("02 00"));
    const Bytes who = isOneOf(OWN_IDENTITY, uOperation) ? OWN : frame.substr(6, 10);
    return Expected{hex("ee fe") + frame.substr(2, 4) + who + hex("00 00  02 00") + le16(served->second),
                    22u + served->second};
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

// Whole datagrams as long as can be sent, with text that has no end.
Bytes endless(uint16_t uOperation, const Bytes &to, const Bytes &flag)
{
    return request(uOperation, 7, CREDENTIALS + Bytes(65507 - 22 - 128, 'A'), to, flag);
}

TEST_F(BlackboxBadInput, EveryLength)
{
    std::vector<Bytes> datagrams;
    for (const auto &[uOperation, uLength] : OPERATIONS) {
        const Bytes whole = endless(uOperation, OWN, TO_ONE), toAll = endless(uOperation, ALL, TO_ALL);
        for (size_t uLen = 0; uLen <= 600; uLen += isOneOf(TOOLS, uOperation) && uLen > 40 ? 20 : 1)
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
    for (const auto &[uOperation, uLength] : OPERATIONS)
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
    std::vector<Bytes> datagrams;
    for (int i = 0; i < 3000; i++) {
        Bytes datagram(below(i % 50 ? 700 : 9000), '\0');
        for (char &ch : datagram)
            ch = static_cast<char>(below(256));
        // Right up to some point, so that most get past the first look.
        const uint16_t uOperation =
            std::next(OPERATIONS.begin(), static_cast<long>(below(static_cast<unsigned>(OPERATIONS.size()))))->first;
        const Bytes right = below(2) ? request(uOperation, 7, CREDENTIALS) : request(uOperation, 7, {}, ALL, TO_ALL);
        const size_t uRight = std::min<size_t>({datagram.size(), right.size(), below(200)});
        datagram.replace(0, uRight, right, 0, uRight);
        datagrams.push_back(datagram);
    }
    sendAll(datagrams);
}

} // namespace
