// SPDX-License-Identifier: Apache-2.0
//
// vxpctl as it ships, against devices made of literal bytes.
#include "network.h"

#include "client/file_descriptor.h"
#include "client/record.h"

#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <gmock/gmock.h>
#include <sys/socket.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using vxpctl::Record;

namespace
{

// The devices of one segment: each answers a discovery request.
Responder::Answers devices(std::vector<std::pair<std::uint8_t, std::string>> list)
{
    return [list](const Frame &request) {
        std::vector<Frame> frames;
        for (const auto &[last, name] : list)
            frames.push_back(discoverReply(request[2], request[3], last, name));
        return frames;
    };
}

Result run(const std::vector<std::string> &arguments)
{
    return Program(arguments).result();
}

std::vector<std::string> values(const Record &envelope, const char *pName)
{
    std::vector<std::string> result;
    for (const Record &device : envelope["devices"])
        result.push_back(device[pName].is_string() ? device[pName].get<std::string>() : device[pName].dump());
    return result;
}

std::string errorCode(const Result &result)
{
    const Record envelope = Record::parse(result.out);
    return envelope["errors"].empty() ? "" : envelope["errors"][0]["code"].get<std::string>();
}

TEST_F(NetworkTest, DiscoversOnEveryInterfaceAndMergesDuplicates)
{
    std::atomic<int> requests = 0;
    respond("ap0", [&](const Frame &request) {
        requests++;
        const Frame expected{0xFD, 0xFD, request[2], request[3], 0xA1, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                             0xFF, 0,    0,          0,          0,    0, 0,    2,    0,    0,    0};
        EXPECT_EQ(request, expected);
        return devices({
            {5, "Hall" },
            {4, "Attic"}
        })(request);
    });
    respond("ap1", devices({
                       {5, "Hall"}, // reached on both
                       {6, "Yard"}
    }));
    const Result result = run({"discover", "--timeout", "0.6", "--tries", "3", "-o", "json"});
    EXPECT_EQ(result.code, 0) << result.err;
    const Record envelope = Record::parse(result.out);
    EXPECT_THAT(values(envelope, "name"), ElementsAre("Attic", "Hall", "Yard"));
    EXPECT_THAT(values(envelope, "interfaces"), ElementsAre("[\"mgr0\"]", "[\"mgr0\",\"mgr1\"]", "[\"mgr1\"]"));
    EXPECT_EQ(requests, 3);
    EXPECT_EQ(result.err, "");
}

TEST_F(NetworkTest, ChoosesInterfacesAndPrintsATable)
{
    respond("ap0", devices({
                       {5, "Hall\x1b]0;owned\x07"}
    }));
    respond("ap1", devices({
                       {6, "Yard"}
    }));
    const Result result = run({"discover", "-i", "mgr0", "--timeout", "0.3"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.out, "NAME                  MODEL     ADDRESS   MAC                VERSION  DHCP  INTERFACE\n"
                          "Hall\\x1b]0;owned\\x07  EAP-2100  10.1.2.5  02:11:22:33:44:05  4.1.0    off   mgr0\n");
    EXPECT_THAT(result.err, testing::MatchesRegex("1 device answered on 1 interface in 0\\.[34] s\n"));
}

TEST_F(NetworkTest, IgnoresWhatDoesNotAnswerItsRequest)
{
    respond("ap0", [](const Frame &request) {
        const std::uint8_t low = request[2], high = request[3];
        std::vector<Frame> frames(6, discoverReply(low, high, 7, "Liar"));
        frames[0][0] = 0xFD;
        frames[1][2]++;
        frames[2][4] = 0xD0;
        frames[3][16] = 3;
        frames[4].resize(504);
        frames[5].resize(3);
        frames.push_back(Frame(4000, 0xEE));
        frames.push_back({});
        frames.push_back(discoverReply(low, high, 8, "Honest"));
        frames.back().resize(1200, 0xEE);
        return frames;
    });
    const Result result = run({"discover", "--timeout", "0.3", "--tries", "1", "-o", "json", "-v"});
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(values(Record::parse(result.out), "name"), ElementsAre("Honest"));
    EXPECT_THAT(result.err, HasSubstr("using mgr1 (no IPv4 address)"));
    EXPECT_THAT(result.err, HasSubstr("asked on mgr1"));
    EXPECT_THAT(result.err, HasSubstr("2 of another kind, 2 for another request, 1 refused, 3 too short"));
}

TEST_F(NetworkTest, AsksForNeighborRecords)
{
    respond("ap1", [](const Frame &request) {
        EXPECT_EQ(request[4], 0xD0);
        return std::vector<Frame>{neighborReply(request[2], request[3], 6, "Yard")};
    });
    const Result result = run({"neighbors", "--timeout", "0.3"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.out, "NAME  PRODUCT   CATEGORY  ADDRESS   MAC                VERSION  INTERFACE\n"
                          "Yard  WLAN-EAP  AP        10.1.2.6  02:11:22:33:44:06  -        mgr1\n");
}

TEST_F(NetworkTest, TwoClientsAtOnceBothSeeEverything)
{
    respond("ap0", devices({
                       {5, "Hall"}
    }));
    Program first({"discover", "--timeout", "0.5", "-o", "json"}),
        second({"discover", "--timeout", "0.5", "-o", "json"});
    for (Program *pProgram : {&first, &second}) {
        const Result result = pProgram->result();
        EXPECT_EQ(result.code, 0) << result.out;
        EXPECT_THAT(values(Record::parse(result.out), "name"), ElementsAre("Hall"));
    }
}

TEST_F(NetworkTest, SaysWhyThereIsNoResult)
{
    Result result = run({"discover", "--timeout", "0.1", "-o", "json"});
    EXPECT_EQ(result.code, 3);
    EXPECT_EQ(errorCode(result), "no_device");
    result = run({"discover", "-i", "mgr7", "-o", "json"});
    EXPECT_EQ(result.code, 8);
    EXPECT_EQ(errorCode(result), "interface_not_found");
    EXPECT_THAT(result.out, HasSubstr("usable now: mgr0, mgr1"));
    result = run({"discover", "--tries", "0", "-o", "json"});
    EXPECT_EQ(result.code, 2);
    EXPECT_EQ(errorCode(result), "usage");
    result = run({"watch", "-o", "json"});
    EXPECT_EQ(result.code, 2);
    EXPECT_EQ(errorCode(result), "usage");

    const vxpctl::FileDescriptor selfish(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(62992);
    ASSERT_EQ(bind(selfish.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    result = run({"discover", "-o", "json"});
    EXPECT_EQ(result.code, 8);
    EXPECT_EQ(errorCode(result), "port_in_use");
}

TEST_F(NetworkTest, InterruptShowsWhatIsThere)
{
    std::atomic<int> requests = 0;
    respond("ap0", [&](const Frame &request) {
        requests++;
        return devices({
            {5, "Hall"}
        })(request);
    });
    for (const int number : {SIGINT, SIGTERM}) {
        requests = 0;
        Program program({"discover", "--timeout", "60", "--tries", "10", "-o", "json"});
        // The second request leaves after the first answer has come.
        ASSERT_TRUE(eventually([&] { return requests > 1; }));
        program.signal(number);
        const Result result = program.result();
        EXPECT_EQ(result.code, 130);
        EXPECT_EQ(errorCode(result), "interrupted");
        EXPECT_THAT(values(Record::parse(result.out), "name"), ElementsAre("Hall"));
    }
}

TEST_F(NetworkTest, WatchPrintsAnnouncementsAsTheyCome)
{
    Program lines({"watch", "--count", "2", "-o", "jsonl"}), one({"watch", "-i", "mgr1", "--count", "1", "-o", "json"}),
        people({"watch"});
    ASSERT_TRUE(eventually([&] {
        announce("ap0", announcement(5, "Hall"));
        announce("ap0", discoverReply(0, 0, 7, "Liar"));
        announce("ap1", announcement(6, "Yard\x9b"));
        return lines.ended() && one.ended() && people.output().find("Yard") != std::string::npos;
    }));
    const std::string line = lines.result().out;
    const Record device = Record::parse(line.substr(0, line.find('\n')))["device"];
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 2);
    EXPECT_THAT((std::vector<std::string>{device["serial"], device["ipv6"]}), ElementsAre("S-0001", "fd00::1"));
    EXPECT_THAT(values(Record::parse(one.result().out), "name"), ElementsAre("Yard\\x9b"));

    people.signal(SIGINT);
    const Result shown = people.result();
    EXPECT_EQ(shown.code, 130);
    EXPECT_THAT(shown.out, HasSubstr("  Hall              WLAN-EAP      10.1.2.5         02:11:22:33:44:05"));
    EXPECT_THAT(shown.out, HasSubstr("Yard\\x9b"));
    EXPECT_THAT(shown.out, Not(HasSubstr("Liar")));
    EXPECT_EQ(run({"watch", "--timeout", "0.1"}).code, 3);
}

} // namespace
