// SPDX-License-Identifier: Apache-2.0
//
// vxpctl as it ships, against devices made of literal bytes.
#include "network.h"
#include "refuse.h"

#include "client/interrupt.h"
#include "client/transfer.h"

#include <atomic>

using testing::HasSubstr;
using testing::Not;
using vxpctl::Record;

namespace
{

TEST_F(NetworkTest, DiscoversOnEveryInterfaceAndMergesDuplicates)
{
    std::atomic<int> requests = 0;
    const std::pair<const char *, const char *> segments[] = {{"ap0", "Attic"}, {"ap1", "Yard"}};
    std::vector<std::jthread> responders;
    for (const auto &[pInterface, pName] : segments)
        responders.push_back(respond(pInterface, [&requests, name = pName](const Frame &request) {
            requests++;
            std::vector<Frame> frames;
            for (const char *pOne : {"Hall", name, "Blank"}) // Hall has a foot in both segments
                frames.push_back(discoverReply(request, pOne));
            put(frames[2], 198, std::string(6, '\0')); // two devices that could not read their MAC address
            return frames;
        }));
    Vxpctl program({"discover", "--timeout", "1", "--tries", "3", "-o", "value", "-f", "name,interfaces"});
    EXPECT_EQ(program.status(), 0);
    EXPECT_EQ(program.out(), "Attic\tmgr0\nBlank\tmgr0\nBlank\tmgr1\nHall\tmgr0,mgr1\nYard\tmgr1\n");
    EXPECT_TRUE(eventually([&] { return requests == 6; })) << requests;
}

// Whether a device that is silent now is missed, and until when.
TEST_F(NetworkTest, KnownDevicesAreMissedUntilTheyAreForgotten)
{
    std::atomic<bool> yardIsUp = true;
    const auto one = respond("ap0", [](const Frame &request) {
        std::vector<Frame> frames{discoverReply(request, "Attic"), discoverReply(request, "Hall")};
        put(frames[0], 268, "\x0A\x01\x02H"); // Hall's address
        return frames;
    });
    const auto other = respond("ap1", [&](const Frame &request) {
        return yardIsUp ? std::vector<Frame>{discoverReply(request, "Yard")} : std::vector<Frame>{};
    });
    const auto discover = [&](std::vector<std::string> more = {"--timeout", "0.5"}) {
        more.insert(more.begin(), {"discover", "-o", "json"});
        Vxpctl program(more);
        EXPECT_EQ(program.status(), 0);
        std::string text;
        const Record errors = Record::parse(program.out())["errors"];
        for (const Record &error : errors)
            text += error["code"].get<std::string>() + " " + error["device"].dump() + "; ";
        return text;
    };
    const std::string conflict = "address_conflict null; ", missing = "not_answered \"02:11:22:33:44:59\"; ";
    EXPECT_EQ(discover(), conflict);
    EXPECT_TRUE(eventually([&] {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(discover({}), conflict);
        return std::chrono::steady_clock::now() - start < std::chrono::milliseconds(2500);
    })) << "all known have answered, and it waits as long as for who is not known";
    yardIsUp = false;
    EXPECT_EQ(discover(), conflict + missing);
    EXPECT_EQ(discover({"--no-cache", "--timeout", "0.5"}), conflict);
    EXPECT_EQ(discover({"-i", "mgr0", "--timeout", "0.5"}), conflict) << "it was never there";
    Vxpctl people({"discover", "--timeout", "1"});
    EXPECT_EQ(people.status(), 0);
    for (const char *pPart : {"2 of 3 known answered; 'vxpctl forget MAC' drops one that is gone",
                              "Yard (02:11:22:33:44:59) did not answer; last seen ", " on mgr1, 10.1.2.89",
                              "10.1.2.72 is the address of Attic (02:11:22:33:44:41), Hall ("})
        EXPECT_THAT(people.err(), HasSubstr(pPart));
    expectFailure({"forget"}, 2, "usage");
    EXPECT_EQ(Vxpctl({"forget", "Yard"}).status(), 0);
    EXPECT_EQ(discover(), conflict);
}

TEST_F(NetworkTest, ChoosesInterfacesPrintsTablesAndCaptures)
{
    respond("ap0", {"Hall\x1b]0;owned\x07"});
    respond("ap1", {"Yard"});
    const TemporaryFolder folder;
    const std::string file = folder.path() + "/talk.pcap";
    Vxpctl program({"discover", "-i", "mgr0", "--timeout", "1", "--tries", "2", "--pcap", file});
    EXPECT_EQ(program.status(), 0);
    EXPECT_EQ(program.out(), "NAME                  MODEL     ADDRESS    MAC                VERSION  DHCP  INTERFACE\n"
                             "Hall\\x1b]0;owned\\x07  EAP-2100  10.1.2.72  02:11:22:33:44:48  4.1.0    off   mgr0\n");
    EXPECT_THAT(program.err(), HasSubstr("1 device answered on 1 interface in 1."));
    Vxpctl decoder({"decode", file, "-o", "value", "-f", "from,from_port,to_port,operation,problem"});
    EXPECT_EQ(decoder.status(), 0);
    const std::string round = "10.1.2.1\t62992\t62976\tdiscover\t\n10.1.2.200\t62976\t62992\tdiscover\t";
    EXPECT_THAT(decoder.out(), HasSubstr(round));
    Vxpctl neighbors({"neighbors", "-i", "mgr1", "--timeout", "1"});
    EXPECT_EQ(neighbors.status(), 0);
    EXPECT_EQ(neighbors.out(), "NAME  PRODUCT   CATEGORY  ADDRESS    MAC                VERSION  INTERFACE\n"
                               "Yard  WLAN-EAP  AP        10.1.2.89  02:11:22:33:44:59  -        mgr1\n");
}

TEST_F(NetworkTest, IgnoresWhatDoesNotAnswerItsRequest)
{
    const auto responder = respond("ap0", [](const Frame &request) {
        std::vector<Frame> frames(8, discoverReply(request, "Liar"));
        frames[0][0] = 0xFD;
        frames[1][2]++;
        frames[2][4] = 0xD0;
        frames[3][16] = 3;
        frames[4].resize(504);
        frames[5].resize(0);
        frames[6][3]++;
        frames[7].resize(21);
        frames.push_back(Frame(5000, 0xEE));
        frames.push_back(discoverReply(request, "Honest"));
        frames.back().resize(5000, 0xEE);
        return frames;
    });
    Vxpctl program({"discover", "--timeout", "1", "--tries", "1", "-o", "value", "-f", "name", "-v"});
    EXPECT_EQ(program.status(), 0);
    EXPECT_EQ(program.out(), "Honest\n");
    for (const char *pLine : {"using mgr1 (no IPv4 address)", "asked on mgr1",
                              "2 of another kind, 3 for another request, 1 refused, 3 too short"})
        EXPECT_THAT(program.err(), HasSubstr(pLine));
}

TEST_F(NetworkTest, SaysWhyThereIsNoResult)
{
    expectFailure({"discover", "--timeout", "0.1"}, 3, "no_device");
    expectFailure({"discover", "--tries", "0"}, 2, "usage");
    expectFailure({"watch"}, 2, "usage");
    setenv("XDG_CACHE_HOME", "/proc", 1);
    expectFailure({"forget", "--all"}, 1, "cache_unwritable");
    expectFailure({"discover", "--timeout", "0.1", "--pcap", "/proc/no/talk.pcap"}, 1, "capture_unwritable");

    {
        const FileDescriptor selfish(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        const sockaddr_in replies = address(62992, INADDR_ANY);
        ASSERT_EQ(bind(selfish.get(), reinterpret_cast<const sockaddr *>(&replies), sizeof replies), 0);
        expectFailure({"discover"}, 8, "port_in_use");
    }
    shell("nft 'add table ip mute; add chain ip mute out { type filter hook output priority 0; policy drop; }'");
    expectFailure({"neighbors", "--timeout", "0.1"}, 8, "send_failed");
}

// What the kernel refuses does not happen on a healthy machine.
TEST_F(NetworkTest, SaysWhatTheKernelRefuses)
{
    const struct {
        const char *pCommand;
        std::uint32_t call, error;
        int exitCode;
        const char *pCode;
    } cases[] = {
        {"discover", SYS_socket, EMFILE, 8, "interfaces_unreadable"},
        {"watch", SYS_socket, EAFNOSUPPORT, 8, "socket"},
        {"watch", SYS_bind, EACCES, 8, "permission"},
        {"watch", SYS_recvmsg, EIO, 8, "receive"},
        {"watch", SYS_signalfd4, EMFILE, 1, "failure"},
    };
    for (const auto &c : cases) {
        Program program([&c] {
            refuse(c.call, c.error);
            return execute({VXPCTL, c.pCommand, "-o", "json", "--timeout", "20"});
        });
        EXPECT_TRUE(eventually([&] {
            announce("ap0", announcement("Hall"));
            return program.ended();
        }));
        EXPECT_EQ(program.status(), c.exitCode) << c.pCode;
        expectCode(program.out(), c.pCode);
    }
}

TEST_F(NetworkTest, TellsHowADeviceFails)
{
    const struct {
        std::uint8_t flag;
        Frame body;
        int exitCode;
        const char *pCode;
    } cases[] = {
        {0, {3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 6, "device_error"},
        {0, {0, 0}, 6, "bad_reply"},
        {3, {}, 6, "not_supported"},
    };
    std::atomic<std::size_t> now = 0;
    const auto responder = respond("ap0", [&](const Frame &request) {
        Frame reply = discoverReply(request, "Hall");
        if (request[4] != 0xC0)
            return std::vector<Frame>{reply};
        std::copy(request.begin() + 4, request.begin() + 16, reply.begin() + 4);
        reply.resize(22);
        std::vector<Frame> frames(2, reply); // of another device, and to another request
        frames[0][11]++;
        frames[1][2]++;
        for (Frame &other : frames)
            other.resize(22 + 16);
        reply[16] = cases[now].flag;
        reply.insert(reply.end(), cases[now].body.begin(), cases[now].body.end());
        frames.push_back(reply);
        return frames;
    });
    setenv("VXPCTL_PASSWORD", "kestrel-9", 1);
    for (; now < std::size(cases); now++)
        expectFailure({"save", "Hall"}, cases[now].exitCode, cases[now].pCode);
}

// Docked laptops have two interfaces on one segment, and what is done once must not arrive on each.
TEST_F(NetworkTest, WhatIsDoneOnceIsAskedForOnOneInterface)
{
    std::atomic<int> saves = 0, reboots = 0;
    std::vector<std::jthread> responders;
    for (const char *pInterface : {"ap0", "ap1"})
        responders.push_back(respond(pInterface, [&](const Frame &request) {
            saves += request[4] == 0xC0;
            reboots += request[4] == 0x03 && request[5] == 0x01;
            return std::vector<Frame>{discoverReply(request, "Hall")};
        }));
    setenv("VXPCTL_PASSWORD", "kestrel-9", 1);
    expectFailure({"save", "Hall", "--timeout", "1", "--tries", "1"}, 4, "no_answer");
    expectFailure({"reboot", "Hall", "--timeout", "1", "--yes", "--no-wait"}, 4, "no_answer");
    EXPECT_TRUE(eventually([&] { return saves == 2; }));
    EXPECT_EQ(reboots, 1);
}

TEST_F(NetworkTest, InterruptShowsWhatIsThere)
{
    respond("ap0", {"Hall"});
    for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
        Vxpctl program({"discover", "--timeout", "20", "--trace", "-o", "value", "-f", "name"});
        ASSERT_TRUE(eventually([&] { return program.err().find("Hall") != std::string::npos; })) << "not heard";
        program.signal(number);
        EXPECT_EQ(program.status(), 130);
        EXPECT_EQ(program.out(), "Hall\n");
        EXPECT_THAT(program.err(), HasSubstr("interrupted"));
    }
}

TEST_F(NetworkTest, InterruptEndsTheWaitForADeviceOutOfReach)
{
    const vxpctl::Interrupt interrupt;
    raise(SIGTERM);
    const vxpctl::Device device({{"mac", "02:00:00:00:00:09"},
                                 {"name", "Lost"},
                                 {"ip", "10.1.2.200"},
                                 {"mask", "255.255.255.0"},
                                 {"gateway", "10.1.2.1"},
                                 {"interfaces", Record::array()}});
    try {
        addressFor(device);
        ADD_FAILURE() << "the signal was not seen";
    } catch (const vxpctl::Failure &failure) {
        EXPECT_EQ(failure.exitCode(), vxpctl::ExitCode::interrupted) << failure.error().message;
    }
}

TEST_F(NetworkTest, WatchPrintsAnnouncementsAsTheyCome)
{
    Vxpctl lines({"watch", "--count", "2", "-o", "jsonl"}), people({"watch"}),
        one({"watch", "-i", "mgr1", "--count", "1", "-o", "value", "-f", "name"});
    ASSERT_TRUE(eventually([&] {
        announce("ap0", announcement("Hall"));
        std::vector<Frame> lies(3, announcement("Liar"));
        lies[0][0] = 0xEE;
        lies[1][4] = 0xA1;
        lies[2].resize(316);
        for (const Frame &lie : lies)
            announce("ap0", lie);
        announce("ap1", announcement("Yard\x9b"));
        return lines.ended() && one.ended() && people.out().find("Yard") != std::string::npos;
    }));
    const std::string out = lines.out();
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 2);
    EXPECT_EQ(contractProblems({out}), "");
    EXPECT_EQ(Record::parse(out.substr(0, out.find('\n')))["device"]["serial"], "S-0001");
    EXPECT_EQ(one.out(), "Yard\\x9b\n");
    people.signal(SIGINT);
    EXPECT_EQ(people.status(), 130);
    EXPECT_THAT(people.out(), HasSubstr("  Hall              WLAN-EAP      10.1.2.72        02:11:22:33:44:48"));
    EXPECT_THAT(people.out(), HasSubstr("Yard\\x9b"));
    EXPECT_THAT(people.out(), Not(HasSubstr("Liar")));
}

} // namespace
