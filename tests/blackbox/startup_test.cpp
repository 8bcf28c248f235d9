// SPDX-License-Identifier: Apache-2.0
//
// Command line, waiting for the device manager, sockets, the saved address, the store library.
#include "tests/blackbox/driver.h"

namespace
{

using BlackboxStartup = Blackbox;

TEST_F(BlackboxStartup, CommandLine)
{
    AccessPoint &device = start();
    for (const std::string &strOptions : split("-h|--help|-x|--nothing|-d -h|--debug=3 -h|-f /made/by -h|"
                                               "--folder=/made/too --help|-f|--folder",
                                               "|")) {
        SCOPED_TRACE(strOptions);
        const Result result = device.run("exec vxpd " + strOptions);
        const bool bLacksValue = strOptions == "-f" || strOptions == "--folder";
        EXPECT_EQ(result.iStatus, 0);
        EXPECT_EQ(result.strOut, std::string(bLacksValue ? "need value for argument '-f'.\n" : "") +
                                     "main:\n\t-d, --debug: set debug level\n");
        EXPECT_EQ(result.strErr, "");
    }
    EXPECT_EQ(device.run("test -d /made/by && test -d /made/too").iStatus, 0);
}

TEST_F(BlackboxStartup, WaitsForTheDeviceManager)
{
    AccessPoint &device = launch({.strOptions = "-d", .strBefore = "rm /var/run/vxman.pid"});
    // The last line before the wait; were there none, sockets and announcement would follow within a few milliseconds.
    ASSERT_TRUE(eventually([&] { return device.err().find("(le32toh)") != std::string::npos; }));
    EXPECT_TRUE(announcement(300ms).empty());
    EXPECT_EQ(device.inNetwork("ss -Huan").strOut, "");
    writeFile(device.folder() + "/run/vxman.pid", "no number\n");
    EXPECT_FALSE(announcement().empty());
    EXPECT_EQ(readFile(device.folder() + "/run/vxman.pid"), "no number\n");
}

TEST_F(BlackboxStartup, NoInterfaceName)
{
    AccessPoint &device = launch({.settings = standardSettings({{"management interface", {}}})});
    EXPECT_EQ(device.awaitExit(), 255);
    EXPECT_EQ(device.out(), "Get 0 interface name failed.\nout of memory\n");
}

TEST_F(BlackboxStartup, PortTaken)
{
    const Result second = start().run("exec vxpd");
    EXPECT_EQ(second.iStatus, 255);
    EXPECT_EQ(second.strOut, "Bind interface 0 failed.\nout of memory\n");
}

struct SavedAddress {
    const char *strCase;
    std::optional<Bytes> file;
    std::string strStored; // address, mask, gateway, DHCP
};

const SavedAddress SAVED_ADDRESSES[] = {
    {"all three", "10.0.0.5,255.0.0.0,10.0.0.1,", "10.0.0.5 255.0.0.0 10.0.0.1 down"},
    {"more than three", "10.0.0.5,255.0.0.0,10.0.0.1,10.0.0.2,x", "10.0.0.5 255.0.0.0 10.0.0.1 down"},
    {"empty", "", "   down"},
    {"empty fields are skipped", ",,10.0.0.5,,255.0.0.0", "10.0.0.5 255.0.0.0  down"},
    {"31 characters, 32", Bytes(31, 'a') + "," + Bytes(32, 'b'), Bytes(31, 'a') + " " + Bytes(31, 'b') + "  down"},
    {"huge, without commas", Bytes(3 << 20, '7'), Bytes(31, '7') + "   down"},
    {"a NUL ends it", "10.0.0.5," + zeros(1) + "255.0.0.0,", "10.0.0.5   down"},
    {"none", {}, "(nothing) (nothing) (nothing) up"},
};

TEST_F(BlackboxStartup, SavedAddress)
{
    for (const SavedAddress &is : SAVED_ADDRESSES) {
        SCOPED_TRACE(is.strCase);
        const Settings settings = standardSettings({{"management dhcp-status", "up"}});
        AccessPoint device("saved", {.settings = settings, .savedAddress = is.file});
        ASSERT_FALSE(announcement().empty()) << device.err(); // the address is restored before the loop begins
        EXPECT_EQ(device.stored("management static-ip") + " " + device.stored("management static-mask") + " " +
                      device.stored("static-ip-route gateway") + " " + device.stored("management dhcp-status"),
                  is.strStored);
        EXPECT_EQ(device.run("test -e /etc/reserved_IP").iStatus, 1);
        EXPECT_EQ(device.out(), "");
    }
}

// A folder cannot be read like a file.
TEST_F(BlackboxStartup, UnreadableSavedAddress)
{
    AccessPoint &device = launch({.strBefore = "mkdir /etc/reserved_IP"});
    EXPECT_THAT(device.awaitExit(), testing::AnyOf(2, 3));
    EXPECT_THAT(device.err(), testing::AnyOf("Memory error", "Reading error"));
}

} // namespace
