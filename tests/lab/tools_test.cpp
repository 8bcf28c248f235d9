// SPDX-License-Identifier: Apache-2.0
//
// The simulated device's tools, run as programs on a store of their own.
#include "daemon/auth.h"
#include "lab/file.h"
#include "lab/settings.h"
#include "lib/strings.h"
#include "lsqlquery/lsqlstore.h"
#include "tests/support/support.h"

#include <cstdlib>

using lab::named;
using lab::Settings;

namespace
{

class ToolsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        setenv("LSQLQUERY_DB", m_folder.path().c_str(), 1);
        lab::replaceSettings(m_settings);
    }
    void TearDown() override { lsqlstore_close(); }

    std::string path(const char *name) const { return m_folder.path() + "/" + name; }

    void succeed(const std::string &line) { ASSERT_EQ(shell(line), 0) << m_output; }

    // The exit status of a line of shell; what it prints is kept.
    int shell(const std::string &line)
    {
        const Result result = capture([&] {
            return execute({"sh", "-c", "cd " + m_folder.path() + " && PATH=" VXP_BIN ":$PATH && " + line});
        });
        m_output = result.strOut + result.strErr;
        return result.iStatus;
    }

    const TemporaryFolder m_folder;
    std::string m_output;
    const Settings m_settings{{named("system", "username"), "sysop"},
                              {named("system", "encrypted-password"), "x"},
                              {named("system", "model"), "AP-2600"},
                              {named("system", "version"), "4.1.0"},
                              {named("system", "system-name"), "a \"b\"\n\\ # \xff"},
                              {{"vap", "vap0", "radio", "wlan0", "vlan-id"}, "7"},
                              {{"radio", "wlan0", {}, {}, "mode"}, ""},
                              {named("management", "mac"), "02:00:00:00:00:01"},
                              {named("management", "ip"), "192.168.0.50"},
                              {named("config", "status"), "verifying"}};
};

TEST_F(ToolsTest, PasswordsAsTheDaemonSendsThemAreAcceptedByIt)
{
    for (const char *password : {"abc", "", "a$b", "$HOME`id`", "x y;z&|<>()*?#~!", "a^+=[]{},._",
                                 "\xc3\xa4\xe2\x82\xac", "012345678901234567890123456789012345678901234567"}) {
        const std::string quoted = str_insert_back_slash(password, nullptr);
        succeed("vxptool submit SET_PASSWD 'sysop' '" + quoted + "'");
        EXPECT_EQ(sysCheckUser("sysop", password), 0) << password;
        EXPECT_NE(sysCheckUser("sysop", (std::string(password) + "!").c_str()), 0) << password;
        EXPECT_EQ(lab::readSetting("system", "encrypted-password").size(), 34U);
    }
    EXPECT_EQ(shell("vxptool submit SET_PASSWD admin abc"), 1);
    EXPECT_NE(sysCheckUser("sysop", "abc"), 0);
}

TEST_F(ToolsTest, RestoreBringsBackWhatDumpSavedAndKeepsTheDevice)
{
    succeed("vxptool config-dump one");
    EXPECT_THAT(readFile(path("one")), testing::StartsWith("# vxp configuration 1\n"));
    succeed("tail -n 1 one >last; head -n -1 one | sha256sum | sed 's/^/# sha256: /; s/ *-$//' | cmp - last");

    const Settings others{{named("system", "system-name"), "changed"},
                          {named("system", "extra"), "x"},
                          {named("system", "version"), "5"},
                          {named("management", "mac"), "02:00:00:00:00:02"},
                          {named("config", "status"), "complete"}};
    lab::replaceSettings(others);
    succeed("vxptool config-file validate one && vxptool config-file restore one");
    Settings expected = m_settings;
    expected.erase(named("system", "model")); // the device's own, and this one has none
    expected.erase(named("management", "ip"));
    expected[named("system", "version")] = "5";
    expected[named("management", "mac")] = "02:00:00:00:00:02";
    expected[named("config", "status")] = "complete";
    EXPECT_EQ(lab::readStore(), expected);

    succeed("vxptool config-dump two && cmp one two");
}

TEST_F(ToolsTest, BrokenConfigurationFilesChangeNothing)
{
    succeed("vxptool config-dump good");
    const std::string good = readFile(path("good"));
    const std::string body = "# vxp configuration 1\nnot a dump line\n";
    std::string flipped = good;
    flipped[good.size() / 2] ^= 1;
    const std::pair<std::string, const char *> cases[] = {
        {"", "not a configuration file"},
        {good.substr(1), "not a configuration file"},
        {"<html>404</html>\n", "not a configuration file"},
        {good.substr(0, good.size() - 1), "cut short"},
        {good.substr(0, good.size() / 2), "cut short"},
        {"# vxp configuration 1\n", "cut short"},
        {good + "\n", "cut short"},
        {flipped, "checksum does not fit"},
        {body + "# sha256: " + lab::sha256(body) + "\n", ":2: "},
    };
    lab::updateSettings({{named("system", "system-name"), "untouched"}});
    const Settings before = lab::readStore();
    for (const auto &[text, problem] : cases) {
        writeFile(path("bad"), text);
        EXPECT_EQ(shell("vxptool config-file validate bad"), 1) << text;
        EXPECT_THAT(m_output, testing::HasSubstr(problem)) << text;
        EXPECT_EQ(shell("vxptool config-file restore bad"), 1) << text;
    }
    EXPECT_EQ(shell("vxptool config-file validate missing"), 1);
    EXPECT_EQ(shell("vxptool config-file frob good"), 2);
    EXPECT_EQ(lab::readStore(), before);
}

TEST_F(ToolsTest, OnlyWholeImagesForThisModelAreValid)
{
    succeed("vxpimage --model AP-2600 --version 4.2.0 --size 1000 -o good && vxptool flash-validate good");
    const std::pair<const char *, const char *> cases[] = {
        {"vxpimage --model AP-9 --version 4.2.0 -o bad", "the image is for AP-9, this is AP-2600"},
        {"{ head -c 500 good; printf X; tail -c +502 good; } >bad", "damaged"},
        {"{ head -c 9 good; printf X; tail -c +11 good; } >bad", "damaged"}, // in the model's name
        {"head -c 1100 good >bad", "cut short"},
        {"head -c 60 good >bad", "cut short"},
        {"cat good good >bad", "cut short or has something behind"},
        {": >bad", "not a firmware image"},
        {"rm bad", "No such file"},
    };
    for (const auto &[make, problem] : cases) {
        succeed(make);
        EXPECT_EQ(shell("vxptool flash-validate bad"), 1) << make;
        EXPECT_THAT(m_output, testing::HasSubstr(problem)) << make;
    }
    EXPECT_EQ(shell("vxpimage --model 'A B' --version 1 -o bad"), 1);
    EXPECT_EQ(shell("vxpimage --model AP --version 1 --size -1 -o bad"), 2);
}

} // namespace
