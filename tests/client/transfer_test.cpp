// SPDX-License-Identifier: Apache-2.0
#include "client/backup_file.h"
#include "client/transfer.h"
#include "refuse.h"

#include <filesystem>
#include <gtest/gtest.h>

using namespace vxpctl;
using namespace std::string_literals;

namespace
{

// The checksums are sha256sum's.
const std::string one = "# vxp configuration 1\n"
                        "system system-name \"one\"\n"
                        "vap/vap0 vlan-id radio=wlan0 \"1\"\n"
                        "# sha256: 33d38e936cdaa55eb7bf7167c01223603fe4f1ea8630a6f8e9daa37bf40164fb\n";
const std::string two = "# vxp configuration 1\n"
                        "system system-name \"two\"\n"
                        "vap/vap0 vlan-id radio=wlan0 \"1\"\n"
                        "# sha256: f5028283a583f6aa7a8d26c32e3e62d16577081aef1bb85db93a574afd9baf9b\n";

TEST(BackupFile, IsWholeOnlyWithEveryByteOfIt)
{
    EXPECT_EQ(checkBackup(one), Soundness::whole);
    EXPECT_EQ(checkBackup(one + "\n"), Soundness::broken);
    for (std::size_t i = 0; i < one.size(); i++) {
        EXPECT_EQ(checkBackup(one.substr(0, i)), Soundness::broken) << i;
        std::string spoilt = one;
        spoilt[i] ^= 1;
        EXPECT_NE(checkBackup(spoilt), Soundness::whole) << i;
    }
    EXPECT_EQ(checkBackup("\x1f\x8b another device's"), Soundness::unknown);
}

TEST(BackupFile, TellsWhichSettingsDifferAndNotTheirValues)
{
    EXPECT_EQ(backupDifferences(one, one), "");
    EXPECT_EQ(backupDifferences(one, two), "system system-name");
    EXPECT_EQ(backupDifferences(one, one.substr(0, 100)), "the file");
}

TEST(BackupFile, IsWrittenWhereAFileSystemCannotRenameWithoutReplacing)
{
    SKIP_IF_EMULATED("system calls are not filtered there");
    const TemporaryFolder folder;
    EXPECT_EQ(inChild([&] {
                  refuse(SYS_renameat2, EINVAL);
                  EXPECT_NO_THROW(writeNewFile(folder.path() + "/backup", one));
                  EXPECT_THROW(writeNewFile(folder.path() + "/backup", two), Failure);
                  return 0;
              }),
              0);
    EXPECT_EQ(readFile(folder.path() + "/backup"), one);
    const std::filesystem::directory_iterator files(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

TEST(Servers, TakeOnlyWhatDevicesCanUse)
{
    const auto url = [](const std::string &server, const std::string &name) {
        Options options;
        options.values = {{"--server", server}, {"--name", name}};
        try {
            return Servers(options, Protocol::http).elsewhere().url();
        } catch (const Failure &failure) {
            return failure.exitCode() == ExitCode::usage ? "usage"s : failure.what();
        }
    };
    const std::string longest(64, 'x'); // or it is cut off in a device's command line
    for (const std::string &name : {"image-4.2.0_b.bin"s, longest})
        EXPECT_EQ(url("192.168.0.9", name), "http://192.168.0.9/" + name);
    // "folder/image" would be saved as "image", and looked for as this.
    for (const std::string &name :
         {longest + "x", ""s, "folder/image"s, "-O"s, "image;reboot"s, "image name"s, "$(reboot)"s, "image\nreboot"s})
        EXPECT_EQ(url("192.168.0.9", name), "usage") << name;
    for (const char *pServer : {"2001:db8::9", "server.example", "192.168.0.9:8080"})
        EXPECT_EQ(url(pServer, "image"), "usage") << pServer;
}

} // namespace
