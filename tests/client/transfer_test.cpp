// SPDX-License-Identifier: Apache-2.0
#include "client/backup_file.h"
#include "client/transfer.h"

#include <gtest/gtest.h>

using namespace vxpctl;

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

TEST(Servers, TakeOnlyWhatDevicesCanUse)
{
    const struct {
        const char *pServer;
        std::string name;
        bool isGood;
    } cases[] = {
        {"192.168.0.9", "image-4.2.0_b.bin", true},
        {"192.168.0.9", std::string(64, 'x'), true},
        {"192.168.0.9", std::string(65, 'x'), false}, // cut off in a device's command line
        {"192.168.0.9", "", false},
        {"192.168.0.9", "folder/image", false}, // saved as "image", and looked for as this
        {"192.168.0.9", "-O", false},
        {"192.168.0.9", "image;reboot", false},
        {"192.168.0.9", "image name", false},
        {"192.168.0.9", "$(reboot)", false},
        {"192.168.0.9", "image\nreboot", false},
        {"2001:db8::9", "image", false},
        {"server.example", "image", false},
        {"192.168.0.9:8080", "image", false},
    };
    for (const auto &[pServer, name, isGood] : cases) {
        Options options;
        options.values = {{"--server", pServer}, {"--name", name}};
        try {
            const Servers servers(options, Protocol::http);
            EXPECT_TRUE(isGood) << pServer << ' ' << name;
            EXPECT_EQ(servers.elsewhere().url(), "http://192.168.0.9/" + name);
        } catch (const Failure &failure) {
            EXPECT_FALSE(isGood) << failure.what();
            EXPECT_EQ(failure.exitCode(), ExitCode::usage);
        }
    }
}

} // namespace
