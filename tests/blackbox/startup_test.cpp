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

std::string restored(const std::string &strAddress, const std::string &strMask = "", const std::string &strGateway = "")
{
    return "set management static-ip=" + strAddress + "\nset management static-mask=" + strMask +
           "\nset static-ip-route gateway=" + strGateway +
           "\nset management dhcp-status=down\n/$ rm -rf /etc/reserved_IP\n";
}

struct SavedAddress {
    const char *strCase;
    std::optional<Bytes> file;
    std::string strEffects;
};

const SavedAddress SAVED_ADDRESSES[] = {
    {"more than three", "10.0.0.5,255.0.0.0,10.0.0.1,10.0.0.2,x", restored("10.0.0.5", "255.0.0.0", "10.0.0.1")},
    {"empty", "", restored("")},
    {"empty fields are skipped", ",,10.0.0.5,,255.0.0.0", restored("10.0.0.5", "255.0.0.0")},
    {"31 characters, 32", Bytes(31, 'a') + "," + Bytes(32, 'b'), restored(Bytes(31, 'a'), Bytes(31, 'b'))},
    {"huge, without commas", Bytes(3 << 20, '7'), restored(Bytes(31, '7'))},
    {"a NUL ends it", "10.0.0.5," + zeros(1) + "255.0.0.0,", restored("10.0.0.5")},
    {"none", {}, ""},
};

TEST_F(BlackboxStartup, SavedAddress)
{
    for (const SavedAddress &is : SAVED_ADDRESSES) {
        SCOPED_TRACE(is.strCase);
        AccessPoint device("saved", {.savedAddress = is.file, .bRecorded = true});
        ASSERT_FALSE(announcement().empty()) << device.err(); // the address is restored before the loop begins
        EXPECT_EQ(readFile(device.folder() + "/tmp/effects"), is.strEffects);
        EXPECT_EQ(device.run("test -e /etc/reserved_IP").iStatus, 1);
        EXPECT_EQ(device.out(), "");
    }
}

TEST_F(BlackboxStartup, SharesTheStore)
{
    AccessPoint &device = start({.savedAddress = "10.0.0.5,255.0.0.0,10.0.0.1,"});
    EXPECT_EQ(device.run("lsqlctl get management static-ip; lsqlctl set system system-name Changed").strOut,
              "10.0.0.5\n");
    EXPECT_THAT(ask(request(0xD0, 1)), testing::HasSubstr("Changed")); // it announced another name before
}

// A folder cannot be read like a file.
TEST_F(BlackboxStartup, UnreadableSavedAddress)
{
    AccessPoint &device = launch({.strBefore = "mkdir /etc/reserved_IP"});
    EXPECT_THAT(device.awaitExit(), testing::AnyOf(2, 3));
    EXPECT_THAT(device.err(), testing::AnyOf("Memory error", "Reading error"));
}

} // namespace
