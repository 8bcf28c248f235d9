// SPDX-License-Identifier: Apache-2.0
#include "tests/blackbox/driver.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace
{

std::string hexRow(const Bytes &bytes, size_t uOffset)
{
    std::string strRow;
    for (char ch : bytes.substr(std::min(uOffset, bytes.size()), 16)) {
        char strByte[4];
        snprintf(strByte, sizeof strByte, "%02x ", static_cast<unsigned char>(ch));
        strRow += strByte;
    }
    return strRow;
}

} // namespace

Bytes hex(std::string_view strDigits)
{
    Bytes result;
    std::string strByte;
    for (char ch : strDigits) {
        if (isspace(static_cast<unsigned char>(ch)))
            continue;
        strByte += ch;
        if (strByte.size() == 2) {
            result += static_cast<char>(std::stoi(strByte, nullptr, 16));
            strByte.clear();
        }
    }
    return result;
}

Bytes text(std::string_view strText, size_t uWidth)
{
    Bytes result(strText.substr(0, uWidth));
    result.resize(uWidth);
    return result;
}

Bytes zeros(size_t uCount)
{
    return Bytes(uCount, '\0');
}

testing::AssertionResult same(const Bytes &expected, const Bytes &actual)
{
    if (expected == actual)
        return testing::AssertionSuccess();
    const auto [e, a] = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    const auto uOffset = static_cast<size_t>(e - expected.begin());
    return testing::AssertionFailure() << "expected " << expected.size() << " bytes, got " << actual.size()
                                       << "; from offset " << uOffset << "\n  expected " << hexRow(expected, uOffset)
                                       << "\n  got      " << hexRow(actual, uOffset);
}

Bytes request(uint16_t uOperation, uint16_t uTag, const Bytes &body, const Bytes &to, const Bytes &flag)
{
    return hex("fd fd") + le16(uTag) + le16(uOperation) + to + flag + hex("01 00  00 00") + body;
}

Bytes le16(uint16_t uValue)
{
    return {static_cast<char>(uValue & 0xFF), static_cast<char>(uValue >> 8)};
}

bool takesCredentials(uint16_t uOperation)
{
    return uOperation < 0x100 && uOperation != 0xA1 && uOperation != 0xD0 && uOperation != 0xD4;
}

uint16_t word(const Bytes &frame, size_t uOffset)
{
    const auto byte = [&](size_t u) { return u < frame.size() ? static_cast<unsigned char>(frame[u]) : 0u; };
    return static_cast<uint16_t>(byte(uOffset) | byte(uOffset + 1) << 8);
}

Settings standardSettings(Settings changes)
{
    changes.merge(Settings{
        {"management interface", "brtrunk"},
        {"management mac", "02:4b:65:73:74:01"},
        {"management ip", "192.168.77.10"},
        {"management mask", "255.255.255.0"},
        {"management dhcp-status", "down"},
        {"management ipv6-status", "up"},
        {"management ipv6-autoconfig-status", "down"},
        {"management static-ipv6", "2001:db8:77::10"},
        {"management static-ipv6-prefix-length", "64"},
        {"management autoconfig-ipv6-global-all", "2001:db8:1::a 2001:db8:2::b"},
        {"management ipv6-default-gateway", "fe80::1"},
        {"static-ipv6-route gateway", "2001:db8:77::1"},
        {"ip-route gateway", "192.168.77.254"},
        {"host dns-via-dhcp", "down"},
        {"host dns-1", "10.0.0.53"},
        {"host dns-2", "10.0.0.54"},
        {"host static-dns-1", "192.0.2.1"},
        {"host static-dns-2", "192.0.2.2"},
        {"system username", "sysop"},
        {"system encrypted-password", "$1$Kestra77$u4PGFEpizA2qFlrbpBW/B/"},
        {"system model", "KW-2210"},
        {"system version", "4.2.0.9"},
        {"system system-name", "lobby"},
    });
    return changes;
}

Bytes Blackbox::ask(const Bytes &datagram) const
{
    send(datagram);
    return reply();
}

std::vector<Bytes> Blackbox::askAll(const std::vector<Bytes> &datagrams)
{
    std::vector<Bytes> result;
    size_t uPending = 0;
    for (size_t i = 0; i < datagrams.size(); i++) {
        send(datagrams[i]);
        uPending += 1024 + 2 * datagrams[i].size();
        if (uPending < 64 * 1024 && i + 1 < datagrams.size())
            continue;
        uPending = 0;
        const uint16_t uTag = m_uProbe++;
        send(request(0xD0, uTag));
        Bytes frame;
        while (word(frame = reply(), 2) != uTag) {
            if (frame.empty())
                throw std::runtime_error("no answer after datagram " + std::to_string(i) + ", " +
                                         hexRow(datagrams[i], 0));
            result.push_back(frame);
        }
    }
    return result;
}

AccessPoint &Blackbox::start(const Device &device)
{
    AccessPoint &device_ = launch(device);
    if (announcement().empty())
        throw std::runtime_error("no announcement; the daemon said: " + device_.out() + device_.err());
    return device_;
}

Bytes Blackbox::announcement(std::chrono::milliseconds limit) const
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        const auto datagram = m_announcements.receive(std::max(left, 0ms));
        if (!datagram)
            return {};
        if (word(*datagram, 0) == 0xFFFF) // not one of our own requests
            return *datagram;
    }
}
