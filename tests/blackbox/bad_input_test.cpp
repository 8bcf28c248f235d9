// SPDX-License-Identifier: Apache-2.0
//
// Datagrams of every length and with every header value, and random ones. What must be answered, and with what header,
// is worked out here from the protocol's rules; all else must get no answer, and nothing may end the daemon.
#include "tests/blackbox/driver.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <set>

namespace
{

// What is served, and the length of the reply's body; 0: not served.
const std::map<int, int> OPERATIONS = {{0xA1, 483},  {0xA2, 16},   {0xA3, 4},    {0xA4, 16},  {0xA5, 36}, {0xA6, 525},
                                       {0xA7, 16},   {0xAA, 16},   {0xAB, 16},   {0xAC, 100}, {0xAD, 16}, {0xC0, 16},
                                       {0xC9, 20},   {0xD0, 231},  {0xD1, 451},  {0xD2, 16},  {0xD4, 16}, {0xD8, 451},
                                       {0x100, 130}, {0x101, 130}, {0x102, 130}, {0x103, 16}, {0x99, 0},  {0x104, 0}};
const std::set<int> OWN_IDENTITY = {0xA1, 0xD0, 0xD1, 0xD8}, TOOLS = {0xA1, 0xA4, 0xAC, 0xD2, 0x100, 0x101, 0x102};

// The header of the reply.
std::optional<Bytes> expectedReply(Bytes frame)
{
    if (frame.empty())
        return std::nullopt;
    frame.resize(std::max<size_t>(frame.size(), 22 + 128)); // zero-extended
    const int iOperation = word(frame, 4);
    const Bytes to = frame.substr(6, 10), flag = frame.substr(16, 2);
    const bool bForAll = iOperation == 0xA1 || iOperation == 0xA5 || iOperation == 0xD0;
    if (word(frame, 0) != 0xFDFD || !((flag == TO_ALL && to == ALL && bForAll) || (flag == TO_ONE && to == OWN)))
        return std::nullopt;

    const auto reply = [&](const Bytes &from, const char *strFlag, int iLength) {
        return hex("ee fe") + frame.substr(2, 4) + from + hex(strFlag) + hex("02 00") + le16(iLength);
    };
    const auto served = OPERATIONS.find(iOperation);
    if (served == OPERATIONS.end() || served->second == 0)
        return reply(to, "03 00", 0);
    if (takesCredentials(iOperation) && frame.substr(22 + 64, 13) != PASSWORD.substr(0, 13))
        return reply(to, "02 00", 0);
    return reply(OWN_IDENTITY.contains(iOperation) ? OWN : to, "00 00", served->second);
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
        std::vector<Bytes> expected;
        for (const Bytes &datagram : datagrams)
            if (const auto reply = expectedReply(datagram.substr(0, 4096)))
                expected.push_back(*reply);
        const std::vector<Bytes> answers = askAll(datagrams);
        EXPECT_EQ(answers.size(), expected.size());
        for (size_t i = 0; i < std::min(answers.size(), expected.size()); i++) {
            ASSERT_TRUE(same(expected[i], answers[i].substr(0, 22))) << "answer " << i;
            ASSERT_EQ(answers[i].size(), 22u + word(expected[i], 20)) << "answer " << i;
        }
    }

    void TearDown() override
    {
        EXPECT_EQ(m_device.daemon(), m_iDaemon);
        EXPECT_EQ(ask(request(0xD0, 1)).size(), 253u);
    }
};

TEST_F(BlackboxBadInput, EveryLength)
{
    std::vector<Bytes> datagrams;
    for (const auto &[iOperation, iLength] : OPERATIONS) {
        // As long as can be sent, with text that has no end.
        const Bytes body = CREDENTIALS + Bytes(65507 - 22 - 128, 'A'), whole = request(iOperation, 7, body),
                    toAll = request(iOperation, 7, body, ALL, TO_ALL);
        for (size_t uLen = 0; uLen <= 600; uLen += TOOLS.contains(iOperation) && uLen > 40 ? 20 : 1)
            datagrams.push_back((uLen % 2 ? toAll : whole).substr(0, uLen));
        for (unsigned uLen : {1472u, 1473u, 4095u, 4096u, 4097u, 8192u, 65506u, 65507u})
            datagrams.push_back(whole.substr(0, uLen));
    }
    sendAll(datagrams);
}

TEST_F(BlackboxBadInput, EveryHeaderByteAndDestination)
{
    std::vector<Bytes> datagrams;
    const Bytes everyMAC = ALL.substr(0, 6), mac = OWN.substr(0, 6), ip = OWN.substr(6);
    for (const Bytes &head : {hex("fd fd"), hex("ee fe"), hex("ff ff")})
        for (const Bytes &flag : {TO_ONE, TO_ALL})
            for (const Bytes &to : {OWN, ALL, everyMAC + hex("ff ff ff ff"), everyMAC + ip, mac + zeros(4)})
                for (int iOperation : {0xA1, 0xA2, 0xA3, 0xC9, 0x103, 0x99})
                    datagrams.push_back(head + request(iOperation, 7, CREDENTIALS, to, flag).substr(2));
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
    for (const auto &[iOperation, iLength] : OPERATIONS)
        for (char chFill : {'\xff', '\0', 'A', '=', '%', '\n'})
            for (unsigned uLen : {1u, 63u, 64u, 65u, 127u, 128u, 129u, 640u, 4074u, 4075u, 65485u})
                datagrams.push_back(request(iOperation, 7, Bytes(uLen, chFill)));
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
        const int iOperation =
            std::next(OPERATIONS.begin(), static_cast<long>(below(static_cast<unsigned>(OPERATIONS.size()))))->first;
        const Bytes right = below(2) ? request(iOperation, 7, CREDENTIALS) : request(iOperation, 7, {}, ALL, TO_ALL);
        const size_t uRight = std::min<size_t>({datagram.size(), right.size(), below(200)});
        datagram.replace(0, uRight, right, 0, uRight);
        datagrams.push_back(datagram);
    }
    sendAll(datagrams);
}

} // namespace
