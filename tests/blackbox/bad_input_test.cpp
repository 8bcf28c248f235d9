// SPDX-License-Identifier: Apache-2.0
//
// Datagrams of every length and with every header value, and random ones. What must be answered, and with what header,
// is worked out here from the protocol's rules; all else must get no answer, and nothing may end the daemon.
#include "tests/blackbox/driver.h"

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

Expected handled(const Bytes &frame, const Bytes &bodyLength)
{
    const bool bOwnIdentity = word(frame, 4) == 0xA1 || word(frame, 4) == 0xD0;
    const Bytes header = hex("ee fe") + frame.substr(2, 4) + (bOwnIdentity ? OWN : frame.substr(6, 10)) +
                         hex("00 00  02 00") + bodyLength;
    return {header, 22u + word(bodyLength, 0)};
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

    const bool bLoggedIn = frame.substr(22 + 64, 13) == text("a2VzdHJlbC05", 13);
    switch (uOperation) {
    case 0xA1:
        return handled(frame, hex("e3 01"));
    case 0xD0:
        return handled(frame, hex("e7 00"));
    case 0xA3:
    case 0xA5:
    case 0xC9:
        break;
    default:
        return refusal(frame, hex("03 00"));
    }
    if (!bLoggedIn)
        return refusal(frame, hex("02 00"));
    return handled(frame, uOperation == 0xA3 ? hex("04 00") : uOperation == 0xA5 ? hex("06 00") : hex("14 00"));
}

class BlackboxBadInput : public Blackbox
{
protected:
    AccessPoint &m_device = start();
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

constexpr uint16_t OPERATIONS[] = {0xA1, 0xA3, 0xA5, 0xC9, 0xD0, 0x99, 0x104};

// Whole datagrams as long as can be sent, with text that has no end.
Bytes endless(uint16_t uOperation, const Bytes &to, const Bytes &flag)
{
    return request(uOperation, 7, CREDENTIALS + Bytes(65507 - 22 - 128, 'A'), to, flag);
}

TEST_F(BlackboxBadInput, EveryLength)
{
    std::vector<Bytes> datagrams;
    for (uint16_t uOperation : OPERATIONS) {
        const Bytes whole = endless(uOperation, OWN, TO_ONE), toAll = endless(uOperation, ALL, TO_ALL);
        for (size_t uLen = 0; uLen <= 600;
             uLen += uOperation == 0xA1 && uLen > 40 ? 20 : 1) // its clock takes a process
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
    for (uint16_t uOperation : OPERATIONS)
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
        const uint16_t uOperation = OPERATIONS[below(std::size(OPERATIONS))];
        const Bytes right = below(2) ? request(uOperation, 7, CREDENTIALS) : request(uOperation, 7, {}, ALL, TO_ALL);
        const size_t uRight = std::min<size_t>({datagram.size(), right.size(), below(200)});
        datagram.replace(0, uRight, right, 0, uRight);
        datagrams.push_back(datagram);
    }
    sendAll(datagrams);
}

} // namespace
