// SPDX-License-Identifier: Apache-2.0
#include "tests/blackbox/driver.h"

#include <algorithm>
#include <cstdio>

Bytes hex(std::string_view strDigits)
{
    std::string strPlain(strDigits);
    std::erase(strPlain, ' ');
    Bytes result;
    for (size_t u = 0; u < strPlain.size(); u += 2)
        result += static_cast<char>(std::stoi(strPlain.substr(u, 2), nullptr, 16));
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

std::string formatted(const char *strFormat, int iValue)
{
    char strText[64];
    snprintf(strText, sizeof strText, strFormat, iValue);
    return strText;
}

std::string compact(const Bytes &bytes)
{
    std::string strResult;
    bool bQuoted = false;
    for (size_t i = 0, uCount; i < bytes.size(); i += uCount) {
        uCount = std::min(bytes.find_first_not_of(bytes[i], i), bytes.size()) - i;
        const auto ch = static_cast<unsigned char>(bytes[i]);
        const bool bText = ch > ' ' && ch < 0x7F && ch != '"' && ch != '\\' && uCount < 4;
        if (bText != bQuoted)
            strResult += '"';
        bQuoted = bText;
        strResult += bText ? Bytes(uCount, bytes[i]) : formatted(uCount > 1 ? "%02x*" : "%02x", ch);
        if (!bText && uCount > 1)
            strResult += std::to_string(uCount) + ",";
    }
    return bQuoted ? strResult + '"' : strResult;
}

std::vector<std::string> split(std::string_view strText, std::string_view strBetween)
{
    std::vector<std::string> parts;
    for (size_t uEnd; (uEnd = strText.find(strBetween)) != strText.npos;
         strText.remove_prefix(uEnd + strBetween.size()))
        parts.emplace_back(strText.substr(0, uEnd));
    parts.emplace_back(strText);
    return parts;
}

testing::AssertionResult same(const Bytes &expected, const Bytes &actual)
{
    if (expected == actual)
        return testing::AssertionSuccess();
    const auto [e, a] = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    const auto uOffset = static_cast<size_t>(e - expected.begin());
    return testing::AssertionFailure() << "expected " << expected.size() << " bytes, got " << actual.size()
                                       << "; from offset " << uOffset << "\n  expected "
                                       << compact(expected.substr(uOffset, 64)) << "\n  got      "
                                       << compact(actual.substr(uOffset, 64));
}

Bytes request(int iOperation, int iTag, const Bytes &body, const Bytes &to, const Bytes &flag)
{
    return hex("fd fd") + le16(iTag) + le16(iOperation) + to + flag + hex("01 00  00 00") + body;
}

Bytes le16(int iValue)
{
    return {static_cast<char>(iValue & 0xFF), static_cast<char>(iValue >> 8)};
}

bool takesCredentials(int iOperation)
{
    return iOperation < 0x100 && iOperation != 0xA1 && iOperation != 0xD0 && iOperation != 0xD4;
}

uint16_t word(const Bytes &frame, size_t uOffset)
{
    const auto byte = [&](size_t u) { return u < frame.size() ? static_cast<unsigned char>(frame[u]) : 0u; };
    return static_cast<uint16_t>(byte(uOffset) | byte(uOffset + 1) << 8);
}

Settings settingsOf(std::string_view strList)
{
    Settings settings;
    for (const std::string &strSetting : split(strList, " | ")) {
        const size_t uColon = strSetting.find(": ");
        if (uColon == strSetting.npos)
            continue;
        const std::string strValue = strSetting.substr(uColon + 2);
        settings[strSetting.substr(0, uColon)] =
            strValue == "(none)" ? std::nullopt : std::optional<std::string>(strValue);
    }
    return settings;
}

Settings standardSettings(Settings changes)
{
    changes.merge(settingsOf(
        "management interface: brtrunk | management mac: 02:4b:65:73:74:01 | management ip: 192.168.77.10 | "
        "management mask: 255.255.255.0 | management dhcp-status: down | ip-route gateway: 192.168.77.254 | "
        "management ipv6-status: up | management ipv6-autoconfig-status: down | "
        "management static-ipv6: 2001:db8:77::10 | management static-ipv6-prefix-length: 64 | "
        "static-ipv6-route gateway: 2001:db8:77::1 | management ipv6-default-gateway: fe80::1 | "
        "management autoconfig-ipv6-global-all: 2001:db8:1::a 2001:db8:2::b | host dns-via-dhcp: down | "
        "host dns-1: 10.0.0.53 | host dns-2: 10.0.0.54 | host static-dns-1: 192.0.2.1 | host static-dns-2: 192.0.2.2 | "
        "system username: sysop | system encrypted-password: $1$Kestra77$u4PGFEpizA2qFlrbpBW/B/ | "
        "system model: KW-2210 | system version: 4.2.0.9 | system system-name: lobby"));
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
        const int iTag = m_iProbe++;
        send(request(0xD0, iTag));
        Bytes frame;
        while (word(frame = reply(), 2) != iTag) {
            if (frame.empty())
                throw std::runtime_error("no answer after " + std::to_string(i) + ", " + compact(datagrams[i]));
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
