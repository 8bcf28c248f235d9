// SPDX-License-Identifier: Apache-2.0
//
// Interfaces and log readers that come and go; what the daemon costs while nothing happens; the announcement's
// interval.
#include "tests/blackbox/driver.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

namespace
{

using BlackboxSlow = Blackbox;

// The state, "S" while it sleeps, and how often it has gone to sleep.
std::string usageOf(const AccessPoint &device)
{
    return command("awk '/^(State|voluntary)/ { print $2 }' /proc/" + std::to_string(device.daemon()) + "/status")
        .strOut;
}

// Measured over a second of wall time, so this one waits. Who neither wakes nor runs at its end has used no time.
void expectIdle(const AccessPoint &device)
{
    std::string strBefore;
    ASSERT_TRUE(eventually([&] { return (strBefore = usageOf(device)).starts_with("S\n"); }));
    std::this_thread::sleep_for(1s);
    EXPECT_EQ(usageOf(device), strBefore);
}

class BlackboxRobustness : public Blackbox
{
protected:
    // The bridge needs a moment for a port that comes up: ask until this holds.
    bool answers(std::chrono::milliseconds limit) const
    {
        send(request(0xD0, 1));
        return reply(limit).size() == 253;
    }
};

// The first announcement cannot be sent.
TEST_F(BlackboxRobustness, InterfaceDownAndUp)
{
    AccessPoint &device = launch({.bLinkUp = false});
    ASSERT_TRUE(eventually([&] { return !device.inNetwork("ss -Huan sport = :62976").strOut.empty(); }));
    for (int i = 0; i < 3; i++) {
        expectIdle(device);
        device.inNetwork("ip link set brtrunk up");
        EXPECT_TRUE(eventually([&] { return answers(100ms); }));
        device.inNetwork("ip link set brtrunk down");
        EXPECT_TRUE(eventually([&] { return !answers(50ms); })); // late answers are taken first
    }
}

TEST_F(BlackboxRobustness, InterfaceAppearsLater)
{
    AccessPoint &device = launch({.settings = standardSettings({{"management interface", "late0"}})});
    const auto sockets = [&] { return device.inNetwork("ss -Huan sport = :62976").strOut; };
    ASSERT_TRUE(eventually([&] { return !sockets().empty(); }));
    device.inNetwork("ip link set brtrunk down name late0; ip link set late0 up");
    EXPECT_TRUE(eventually([&] { return answers(100ms); }));
    EXPECT_THAT(sockets(), testing::HasSubstr("255.255.255.255%late0:62976"));
}

// Neither a socket nor the store's files may get the place of a closed descriptor, or what is printed goes there.
TEST_F(BlackboxRobustness, StandardDescriptorsClosed)
{
    AccessPoint &device = start({.strOptions = "-d", .strOutput = "<&- >&- 2>&-"});
    for (const char *strFile : {"0", "1", "2"}) {
        const std::string strLink = "/proc/" + std::to_string(device.daemon()) + "/fd/" + strFile;
        EXPECT_EQ(std::filesystem::read_symlink(strLink), "/dev/null");
    }
    EXPECT_TRUE(same(REFUSAL, ask(UNKNOWN)));
    expectIdle(device);
}

TEST_F(BlackboxRobustness, LogReaderGoesAway)
{
    const std::string strPipe = "/dev/shm/ap0/tmp/pipe";
    AccessPoint &device = launch({.strOptions = "-d", .strBefore = "mkfifo /tmp/pipe", .strOutput = ">/tmp/pipe 2>&1"});
    int iReader = -1;
    ASSERT_TRUE(eventually([&] { return (iReader = open(strPipe.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) != -1; }));
    ASSERT_FALSE(announcement().empty()) << device.err();
    close(iReader);
    for (int i = 0; i < 3; i++)
        EXPECT_TRUE(same(REFUSAL, ask(UNKNOWN)));
}

// Thirty seconds of waiting, whatever is answered in between.
TEST_F(BlackboxSlow, AnnouncesEvery30Seconds)
{
    start();
    const auto first = std::chrono::steady_clock::now();
    while (announcement(500ms).empty()) {
        ASSERT_LT(std::chrono::steady_clock::now() - first, 35s);
        EXPECT_EQ(ask(request(0xD0, 1)).size(), 253u);
    }
    EXPECT_GT(std::chrono::steady_clock::now() - first, 29s);
}

// The sockets still belong to the interface that has gone; the announcement notices.
TEST_F(BlackboxSlow, InterfaceComesBackWithAnotherIndex)
{
    AccessPoint &device = start();
    const std::string strIndex = device.inNetwork("ip -o link show brtrunk").strOut.substr(0, 2);
    const Result result =
        command("ip link delete ap0 && " VXP_SOURCE_DIR "/script/lib/segment attach segment ap0 $(cat " +
                device.folder() + "/pid) brtrunk 192.168.77.10/24 02:4b:65:73:74:01");
    ASSERT_EQ(result.iStatus, 0) << result.strErr;
    ASSERT_NE(device.inNetwork("ip -o link show brtrunk").strOut.substr(0, 2), strIndex);
    EXPECT_EQ(announcement(32s).size(), 317u);
    EXPECT_EQ(ask(request(0xD0, 1)).size(), 253u);
}

} // namespace
