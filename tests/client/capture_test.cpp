// SPDX-License-Identifier: Apache-2.0
//
// Capture files and traces: what is written, less its secrets, and what is read from frames of every kind.
#include "client/capture.h"
#include "client/commands.h"
#include "client/operations.h"
#include "frames.h"
#include "tests/support/support.h"

#include <sstream>

using namespace vxpctl;
using testing::HasSubstr;
using testing::Not;

namespace
{

Frame joined(std::initializer_list<Frame> parts)
{
    Frame whole;
    for (const Frame &part : parts)
        whole.insert(whole.end(), part.begin(), part.end());
    return whole;
}

// An IPv4 packet of 10.1.2.72 to everybody, byte by byte; the payload has up to 227.
Frame packet(const Frame &payload, std::uint8_t portLow = 0x10)
{
    const auto udp = static_cast<std::uint8_t>(8 + payload.size()), ip = static_cast<std::uint8_t>(20 + udp);
    return joined({{0x45, 0, 0, ip, 0, 0, 0, 0, 64, 17, 0, 0},
                   {10, 1, 2, 72, 255, 255, 255, 255},
                   {0xF6, 0, 0xF6, portLow, 0, udp, 0, 0},
                   payload});
}

Frame with(Frame frame, std::size_t offset, std::uint8_t byte)
{
    frame[offset] = byte;
    return frame;
}

Frame first(Frame frame, std::size_t size)
{
    frame.resize(size);
    return frame;
}

TEST(Capture, FramesOfEveryLinkType)
{
    const Frame payload{0xEE, 0xFE, 1, 2, 3}, ip = packet(payload);
    const Frame ethernet(12, 2), cooked{0, 4, 0, 1, 0, 6, 1, 2, 3, 4, 5, 6, 0, 0};
    const Frame cooked2{8, 0, 0, 0, 0, 0, 1, 7, 0, 1, 4, 6, 1, 2, 3, 4, 5, 6, 0, 0};
    const struct {
        const char *pWhat;
        int linkType;
        Frame frame;
        std::string expected; // bytes of the payload and what is wrong; nothing: no packet for us
    } cases[] = {
        {"Ethernet", DLT_EN10MB, joined({ethernet, {8, 0}, ip}), "5 "},
        {"Ethernet, padded", DLT_EN10MB, joined({ethernet, {8, 0}, ip, Frame(20, 9)}), "5 "},
        {"two VLAN tags", DLT_EN10MB, joined({ethernet, {0x88, 0xA8, 0, 5, 0x81, 0, 0, 7, 8, 0}, ip}), "5 "},
        {"a VLAN tag and no more", DLT_EN10MB, joined({ethernet, {0x81, 0, 0, 7}}), ""},
        {"IPv6", DLT_EN10MB, joined({ethernet, {0x86, 0xDD}, ip}), ""},
        {"cooked", DLT_LINUX_SLL, joined({cooked, {8, 0}, ip}), "5 "},
        {"cooked 2", DLT_LINUX_SLL2, joined({cooked2, ip}), "5  263 sent"},
        {"raw", DLT_RAW, ip, "5 "},
        {"loopback", DLT_NULL, joined({{2, 0, 0, 0}, ip}), "5 "},
        {"unknown", DLT_PPP, ip, ""},
        {"IP options", DLT_RAW, joined({with(first(ip, 20), 0, 0x46), Frame(4, 1), Frame(ip.begin() + 20, ip.end())}),
         "5 UDP length 13 does not fit an IPv4 packet of 33 bytes"},
        {"another port", DLT_RAW, packet(payload, 0x11), ""},
        {"TCP", DLT_RAW, with(ip, 9, 6), ""},
        {"header longer than the packet", DLT_RAW, with(ip, 0, 0x4F), ""},
        {"header too short", DLT_RAW, with(with(with(ip, 0, 0x44), 18, 0xF6), 19, 0x10), ""},
        {"first fragment", DLT_RAW, with(ip, 6, 0x20), "5 a fragment: the rest of the datagram is in other packets"},
        {"later fragment", DLT_RAW, with(ip, 7, 1), ""},
        {"cut in the payload", DLT_RAW, first(ip, 30), "2 the capture has 2 of 5 bytes"},
        {"cut in the header", DLT_RAW, first(ip, 27), ""},
        {"UDP length too small", DLT_RAW, with(ip, 25, 7), "0 UDP length 7 does not fit an IPv4 packet of 33 bytes"},
        {"empty", DLT_EN10MB, {}, ""},
    };
    for (const auto &c : cases) {
        const auto found = dissect(c.linkType, c.frame);
        ASSERT_EQ(found.has_value(), !c.expected.empty()) << c.pWhat;
        if (!found)
            continue;
        const auto &[datagram, source, destination, index, sent] = found->packet;
        EXPECT_EQ(std::to_string(datagram.size()) + " " + found->problem + (index ? " " + std::to_string(index) : "") +
                      (sent ? " sent" : ""),
                  c.expected)
            << c.pWhat;
        EXPECT_EQ(source.hostText() + " " + std::to_string(source.port), "10.1.2.72 62976");
    }
}

std::pair<ExitCode, std::string> decode(const std::string &file, Format format = Format::json)
{
    Options options;
    options.format = format;
    options.targets = {file};
    std::ostringstream out, err;
    const ExitCode code = runCommand(decodeCommand(), options, out, err);
    return {code, out.str()};
}

TEST(Capture, WhatIsWrittenIsReadWithoutSecrets)
{
    const TemporaryFolder folder;
    const std::string file = folder.path() + "/talk.pcap";
    Frame communities(22 + 65, 'S');
    const Frame head{0xFD, 0xFD, 7, 0, 0xD4, 0, 2, 0x11, 0x22, 0x33, 0x44, 0x48, 10, 1, 2, 72, 0x77, 0x77, 2, 0, 65, 0};
    std::copy(head.begin(), head.end(), communities.begin());
    const Frame reply = discoverReply(Frame(22), "Hall");
    const struct {
        Frame payload;
        Record kind, operation, problem;
    } cases[] = {
        {communities, "request", "set SNMP", nullptr},
        {with(communities, 0, 0), "unknown", "set SNMP", "no message of this protocol"},
        {with(with(reply, 20, 483 % 256), 21, 1), "reply", "discover", nullptr},
        {reply, "reply", "discover", "the header tells of 0 bytes of body, and there are 483"},
        {first(reply, 504), "reply", "discover", "cut off: a body of 482 bytes, where this reply has 483"},
        {with(first(reply, 22), 16, 3), "reply", "discover", nullptr},
        {with(reply, 4, 0x55), "reply", nullptr, "no known operation"},
        {first(reply, 21), nullptr, nullptr, "shorter than a header of 22 bytes"},
        {{}, nullptr, nullptr, "shorter than a header of 22 bytes"},
    };
    {
        CaptureFile capture(file);
        for (const auto &c : cases)
            capture.write({c.payload, {{10, 1, 2, 1}, 62992}, {{255, 255, 255, 255}, 62976}, 3, true});
        EXPECT_TRUE(capture.isWhole());
    }
    const std::string bytes = readFile(file);
    EXPECT_THAT(bytes, Not(HasSubstr("SSS")));
    const auto [code, out] = decode(file);
    EXPECT_EQ(code, ExitCode::done);
    const Record records = Record::parse(out)["devices"];
    ASSERT_EQ(records.size(), std::size(cases));
    for (std::size_t i = 0; i < std::size(cases); i++) {
        EXPECT_EQ(records[i].value("kind", Record()), cases[i].kind) << i;
        EXPECT_EQ(records[i].value("operation", Record()), cases[i].operation) << i;
        EXPECT_EQ(records[i]["problem"], cases[i].problem) << i;
    }
    EXPECT_EQ(records[0]["from"], "10.1.2.1");
    EXPECT_EQ(records[0]["interface_index"], 3);
    EXPECT_EQ(records[2]["body"]["name"], "Hall");
    EXPECT_THAT(decode(file, Format::table).second,
                HasSubstr("10.1.2.1         255.255.255.255  request       set SNMP"));

    const std::tuple<std::string, ExitCode, const char *> damages[] = {
        {bytes.substr(0, bytes.size() - 10), ExitCode::partly, "capture_damaged"}, // in the middle of the last one
        {bytes.substr(0, 24), ExitCode::noDevice, "no_message"},
        {"no capture", ExitCode::failure, "capture_unreadable"},
    };
    for (const auto &[content, exitCode, pError] : damages) {
        writeFile(file, content);
        const auto [damagedCode, damaged] = decode(file);
        EXPECT_EQ(damagedCode, exitCode);
        EXPECT_EQ(Record::parse(damaged)["errors"][0]["code"], pError);
    }
    if (access("/dev/full", W_OK) == 0) {
        CaptureFile full("/dev/full");
        full.write({reply, {}, {}});
        EXPECT_THAT(full.error(), HasSubstr("No space left"));
    }
}

// Every byte is a letter, so each that is still one afterwards is shown.
TEST(Trace, SecretFieldsAreCoveredWhateverTheirLength)
{
    std::vector<std::pair<long, long>> keys{{64, 128}, {128 + 450, 128 + 450 + 51}};
    for (long entry = 128 + 2; entry < 128 + 450; entry += 56)
        keys.insert(keys.end(), {{entry, entry + 36}, {entry + 40, entry + 56}});
    const struct {
        const char *pWhat;
        std::uint8_t operation;
        bool reply;
        std::size_t size;                        // of the body
        std::vector<std::pair<long, long>> gaps; // body bytes from, to, that are covered
    } cases[] = {
        {"any credentials", 0xA3, false, 128, {{64, 128}}},
        {"a new password", 0xA4, false, 256, {{64, 128}, {192, 256}}},
        {"DDNS, set", 0xA7, false, 452, {{64, 128}, {128 + 196, 128 + 260}}},
        {"DDNS, get", 0xA6, true, 525, {{196, 260}}},
        {"communities", 0xD4, false, 65, {{1, 65}}},
        {"wireless keys, set, the last runs on", 0xD1, false, 128 + 450 + 51, keys},
        {"wireless keys, get", 0xD8, true, 451, {{3, 451}}},
        {"cut off", 0xD4, false, 20, {{1, 20}}},
        {"no secret", 0xA1, true, 483, {}},
    };
    for (const auto &c : cases) {
        Frame frame = joined({c.reply ? Frame{0xEE, 0xFE} : Frame{0xFD, 0xFD}, {'A', 'A', c.operation, 0}});
        frame.resize(22 + c.size, 'A');
        Frame covered = withoutSecrets(frame);
        std::replace(covered.begin() + 22, covered.end(), std::uint8_t{'*'}, std::uint8_t{0});
        for (const auto &[from, to] : c.gaps)
            std::fill(frame.begin() + 22 + from, frame.begin() + 22 + to, 0);
        EXPECT_EQ(covered, frame) << c.pWhat;
    }
}

} // namespace
