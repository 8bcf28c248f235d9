// SPDX-License-Identifier: Apache-2.0
//
// The commands that README.md, the pages of docs/ and the help show do what they say: they run in a lab.
#include "tests/docs/text.h"
#include "tests/support/lab.h"

#include <set>
#include <unistd.h>

namespace
{

// The commands among a text's code lines, without prompts and comments. What script/demo shows, it runs itself.
Words commandsOf(const std::string &strText)
{
    Words commands;
    for (const auto &match : allMatches(
             strText, R"(^(?:    |  )(?:\$ )?((?:sudo tcpdump .*\| |sudo )?(?:vxp(?:ctl|lab|image)|lsqlctl) .*)$)"))
        commands.push_back(match[1].substr(0, match[1].find("  ")));
    return commands;
}

// As the lab has it: its names for what differs, consent for the person who would be asked, an end for what has none.
std::string inLab(std::string strCommand)
{
    const std::pair<const char *, const char *> changes[] = {
        {"-i eth0", "-i segment"},
        {"^sudo tcpdump .*\\| ", "cat trouble.pcap | "},
        {"^sudo ", ""},
        {"^(vxpctl (network set|upgrade|restore) .*)", "$1 --yes"},
        {"^(vxpctl watch.*)", "timeout --preserve-status -s INT 2 $1; test $? = 130"},
        {"^lsqlctl", "vxplab exec Lobby lsqlctl"},
    };
    for (const auto &[pFrom, pTo] : changes)
        strCommand = std::regex_replace(strCommand, std::regex(pFrom), pTo);
    return strCommand;
}

class ExamplesTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (const std::string strMissing = Lab::missing(); !strMissing.empty())
            GTEST_SKIP() << strMissing;
    }
    void run(const std::string &strCommand) const
    {
        const std::string strLine =
            "cd " + lab.folder() + "; VXPCTL_PASSWORD=lab; export VXPCTL_PASSWORD; " + strCommand;
        const bool bOnManager = std::regex_search(strCommand, std::regex("^(vxpctl|timeout|cat) "));
        const Result result = bOnManager ? lab.run({"sh", "-c", strLine}) : lab.shell(strLine);
        EXPECT_EQ(result.iStatus, 0) << strCommand << "\n" << result.strOut << result.strErr;
    }
    const Lab lab{};
};

TEST_F(ExamplesTest, OfTheClient)
{
    const Result up = lab.up({}, "Lobby AP-2600 4.1.0 192.168.0.50/24\n"
                                 "Hall  AP-2600 4.1.0 192.168.0.51/24 mac=02:00:00:00:00:52\n");
    ASSERT_EQ(up.iStatus, 0) << up.strErr;
    if (lab.run({"grep", "-q", "allow", "/proc/self/setgroups"}).iStatus != 0)
        GTEST_SKIP() << "TFTP servers change their user, which this lab does not allow";
    run("vxpctl discover --pcap trouble.pcap && cp trouble.pcap trouble.pcapng && mkdir backups");
    run("vxpctl backup Hall --to hall.conf");
    for (const std::string strVersion : {"4.2.0", "4.3.0"})
        run("vxpimage --model AP-2600 --version " + strVersion + " -o image-" + strVersion);
    const Program server = lab.start({"run", "sh", "-c",
                                      "ip address add 192.168.0.9/24 dev segment && exec busybox httpd -f -h " +
                                          lab.folder() + " -p 192.168.0.9:80"});
    std::set<std::string> done; // several texts show it
    for (const std::string &strText :
         {sourceFile("docs/vxpctl.md"), sourceFile("README.md"), lab.client({"--help"}).strOut}) {
        const auto commands = commandsOf(strText);
        EXPECT_GT(commands.size(), 3U) << strText;
        for (const std::string &strCommand : commands)
            if (const std::string strLine = inLab(strCommand); done.insert(strLine).second)
                run(strLine);
    }
}

TEST_F(ExamplesTest, OfTheLab)
{
    run("mkdir files");
    const auto commands = commandsOf(sourceFile("docs/lab.md"));
    const auto isImage = [](const std::string &strCommand) { return strCommand.starts_with("vxpimage"); };
    const auto image = std::find_if(commands.begin(), commands.end(), isImage);
    ASSERT_GT(commands.end() - image, 3) << "the page has no second part";
    std::for_each(commands.begin(), image, [this](const std::string &strCommand) { run(inLab(strCommand)); });

    run("vxplab up 1 --boot-time 1 --flash-time 0.1");
    run(image[0]);
    ASSERT_EQ(image[1], "vxplab serve files");
    Program server = lab.start({"serve", lab.folder() + "/files"});
    ASSERT_TRUE(eventually([&] { return server.out().find("Serving") != std::string::npos; })) << server.err();
    std::for_each(image + 2, commands.end(), [this](const std::string &strCommand) { run(inLab(strCommand)); });
}

TEST_F(ExamplesTest, OfAnInstallation)
{
    const std::string strPrefix = lab.folder() + "/prefix";
    const Result install = capture([&] {
        return execute({VXP_CMAKE, "--install", VXP_BUILD_DIR, "--prefix", strPrefix});
    });
    ASSERT_EQ(install.iStatus, 0) << install.strErr;
    for (const char *pFile : {"sbin/vxpd", "bin/vxpimage", "include/lsqlquery.h", "share/vxpctl/vxpctl.schema.json",
                              "share/man/man1/vxpctl.1", "share/man/man1/vxplab.1", "share/man/man1/vxpimage.1",
                              "share/man/man8/vxpd.8", "share/man/man8/lsqlctl.8"})
        EXPECT_EQ(access((strPrefix + "/" + pFile).c_str(), R_OK), 0) << pFile;
    EXPECT_EQ(access((strPrefix + "/libexec/vxp/lib/sysroot").c_str(), R_OK), -1) << "that is for building";
    for (const char *pCommand : {"vxplab up 1", "vxplab run vxpctl discover -o value -f name | grep ap1",
                                 "lsqlctl --help", "vxplab exec ap1 lsqlctl dump", "vxplab down"})
        run("PATH=" + strPrefix + "/bin:$(getconf PATH); " + pCommand);
}

} // namespace
