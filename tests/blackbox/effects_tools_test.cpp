// SPDX-License-Identifier: Apache-2.0
//
// What tools are given, what they inherit, and what stays of them.
#include "tests/blackbox/effects.h"

#include <filesystem>
#include <regex>
#include <thread>

namespace
{

using EffectsTools = Effects;

constexpr char TRAP[] = "/tmp/trap"; // what a name would make if it could run something

// Each way to begin a name before each operator, and names that the shell could take for something else.
std::vector<std::string> hostileNames()
{
    std::vector<std::string> names =
        split("plain-1.2_3.bin@with  two blanks@${IFS}@$HOME@$((1))@</tmp/tools@'@\"@'\"'@\\@a\\@*@?@[a-z]*@~@~root@"
              "#@x #@a#b@{a,b}@!!@%s%n@-r@a=b touch@\xff\x80@`@(@<@a>b@&&@||@a\\\n;touch /tmp/trap@"
              "';touch /tmp/trap;'@\";touch /tmp/trap;\"@\t;touch\t/tmp/trap@a\ntouch /tmp/trap\n",
              "@");
    for (const char *strBefore : {"", "a", "a ", "'", "\"", "\\", "\\\\", "a\n", "\n", "'\n", "$'", "x='"})
        for (const std::string strOperator :
             {";", "&", "|", "&&", "||", "\n", "`", "$(", "<(", ">(", "(", "{ ", "2>&1;", "#\n", ">"})
            names.push_back(strBefore + strOperator + "touch /tmp/trap" + (strOperator == "`" ? "`" : ")"));
    return names;
}

// The words that the shell makes of a name, with single blanks in between: line breaks are dropped.
std::string words(const std::string &strName)
{
    const std::string strLine = std::regex_replace(strName, std::regex("\n"), "");
    return std::regex_replace(std::regex_replace(strLine, std::regex("[ \t]+"), " "), std::regex(" $"), "");
}

// One of the starts that take a name for each name, in turn; every start sees every operator.
TEST_F(EffectsTools, NamesRunNothing)
{
    size_t uStart = 0;
    const std::vector<std::string> names = hostileNames();
    ASSERT_GE(names.size(), 200u);
    for (const std::string &strName : names) {
        SCOPED_TRACE(strName);
        const std::string strWords = words(strName),
                          strAfterBlank = strWords.starts_with(' ') ? strWords.substr(1) : strWords,
                          strURL = "http://192.0.2.7/" + strWords,
                          strTFTP = " 192.0.2.7 -l " + strAfterBlank + " -r " + strAfterBlank;
        const struct {
            int iOperation;
            Bytes server;
            std::string strTools;
        } STARTS[] = {
            {0x100, TFTP4, "firmware-upgrade tftp://192.0.2.7/" + strWords},
            {0x100, HTTP4,
             "wget " + strURL + " | flash-validate " + strAfterBlank +
                 " | killall -2 mDNSResponderPosix | flash-upgrade " + strAfterBlank},
            {0x101, TFTP4, "config-dump " + strAfterBlank + " | tftp -p" + strTFTP},
            {0x102, TFTP4, "tftp -g" + strTFTP + " | config-file validate " + strAfterBlank},
            {0x102, HTTP4, "wget " + strURL + " | config-file validate " + strAfterBlank},
        };
        const auto &is = STARTS[uStart++ % std::size(STARTS)];
        prepare("", "config-file: exit 1");
        EXPECT_EQ(ask(request(is.iOperation, 1, is.server + text(strName, 128))).size(), 152u);
        eventually([&] { return noted("tools") == is.strTools; });
        EXPECT_EQ(noted("tools"), is.strTools);
        // What a restore stores last, which would otherwise come into the next name's store.
        const char *const strLast = is.server == TFTP4 ? "=complete" : "=failed";
        EXPECT_TRUE(is.iOperation != 0x102 || eventually([&] { return noted("worker").ends_with(strLast); }));
        ASSERT_FALSE(std::filesystem::exists(m_device.folder() + TRAP));
    }
}

TEST_F(EffectsTools, ValuesRunNothing)
{
    // The password is one word, also when it reads like a command; the back-slashes stay, as they always have.
    prepare();
    ask(asOperation(0xA4, 1, USER + text("JCh0b3VjaCB4KWA7fA==", 64))); // $(touch x)`;|
    EXPECT_EQ(noted("tools"), "submit SET_PASSWD sysop \\$(touch x)\\`;|");
    // What is stored comes into no command line.
    const std::string strRun = ": ';touch /tmp/trap;`touch /tmp/trap`$(touch /tmp/trap)";
    m_strAlways = "firmware-upgrade progress" + strRun + " | config status" + strRun + " | management static-ip" +
                  strRun + " | system model" + strRun + " | interface/wlan0 security" + strRun;
    for (int iOperation : {0xA1, 0xA6, 0xAA, 0xC0, 0xC9, 0xD1, 0xD2, 0xD4, 0xD8, 0x100, 0x101, 0x102, 0x103}) {
        prepare();
        EXPECT_FALSE(ask(asOperation(iOperation, 1, iOperation < 0x100 ? Bytes(500, '`') : hex("01 01 01"))).empty());
        EXPECT_EQ(ask(request(0x99, 1)).size(), 22u);
        EXPECT_EQ(noted("tools"), iOperation == 0xA1 ? "date +%Y%m%d%H%M%S" : "") << iOperation;
    }
    EXPECT_FALSE(std::filesystem::exists(m_device.folder() + TRAP));
}

TEST_F(EffectsTools, LeaveNoZombies)
{
    const std::string strTasks = "/proc/" + std::to_string(m_device.daemon()) + "/task";
    const auto children = [&] {
        std::string strAll;
        for (const auto &thread : std::filesystem::directory_iterator(strTasks))
            strAll += readFile(thread.path() / "children");
        return strAll;
    };
    for (const std::string &strEnd : {std::string("exit 0"), std::string("exit 1"), std::string("kill -9 $$"), KILLED,
                                      TEN_MB, std::string("sleep 0.1 &")}) {
        SCOPED_TRACE(strEnd);
        std::string strTools = "config-file: " + strEnd + "\nexit 1";
        for (const char *strTool : {"submit", "date", "wget", "flash-validate", "flash-upgrade", "config-dump", "tftp"})
            strTools += " | " + std::string(strTool) + ": " + strEnd;
        prepare("", strTools);
        EXPECT_EQ(ask(asOperation(0xD2, 1)).size(), 38u);
        EXPECT_EQ(ask(asOperation(0xAC, 1)).size(), 122u);
        for (int iOperation : {0x100, 0x101, 0x102})
            EXPECT_EQ(ask(request(iOperation, 1, HTTP4 + FILE_NAME)).size(), 152u);
        EXPECT_TRUE(eventually([&] { return children().empty(); })) << children();
    }
}

// More than the field takes cannot come from a sound "date".
TEST_F(EffectsTools, LongDateIsAnAssertion)
{
    prepare("", "date: echo 2024022923595912");
    send(request(0xA1, 1));
    EXPECT_EQ(m_device.awaitExit(), 128 + 6);
    EXPECT_THAT(m_device.err(), testing::ContainsRegex("^sys:[0-9]+: sysGetDatetime: Assertion "
                                                       "\"buf_len>strlen\\(str\\)\" failed.\n"));
}

using BlackboxTools = Blackbox;

TEST_F(BlackboxTools, InheritNothing)
{
    AccessPoint &device = start({.strBefore = R"(
cat >/usr/sbin/submit <<'END'
#!/bin/sh
ls -l /proc/$$/fd | sed -n "s:.*->:${0##*/} $1:p" >>/tmp/inherited
exit 1
END
chmod +x /usr/sbin/submit; rm /usr/bin/date
for tool in date tftp config-file; do ln /usr/sbin/submit /usr/sbin/$tool; done)"});
    EXPECT_EQ(ask(request(0xA1, 1)).size(), 505u);
    EXPECT_EQ(ask(request(0xD2, 1, CREDENTIALS)).size(), 38u);
    EXPECT_EQ(ask(request(0x102, 1, TFTP4 + FILE_NAME)).size(), 152u);
    const auto inherited = [&] { return readFile(device.folder() + "/tmp/inherited"); };
    EXPECT_TRUE(eventually([&] { return inherited().find("config-file") != std::string::npos; }));
    for (const char *strTool : {"date", "submit SET_IPADDRESS", "submit COMMIT", "tftp", "config-file validate"})
        EXPECT_THAT(inherited(), testing::HasSubstr(strTool));
    for (const char *strFile : {"socket:", "lsqlquery", ".mdb"})
        EXPECT_THAT(inherited(), testing::Not(testing::HasSubstr(strFile)));
}

using BlackboxToolsSlow = Blackbox;

// A restore whose check fails is the shortest way through the worker.
TEST_F(BlackboxToolsSlow, RestoresLeaveNothing)
{
    constexpr bool SANITIZED = *VXP_SANITIZERS;
    const AccessPoint &device = start({.strBefore = "ln -s /bin/true /usr/sbin/tftp; "
                                                    "ln -s /bin/false /usr/sbin/config-file"});
    const Bytes begin = request(0x102, 1, TFTP4 + FILE_NAME), query = request(0x102, 1, QUERY);
    const auto restore = [&](int iTimes) {
        for (int i = 0; i < iTimes; i++) {
            ASSERT_EQ(ask(begin).substr(22, 2), hex("01 00")) << "restore " << i;
            const auto deadline = std::chrono::steady_clock::now() + 60s;
            while (ask(query).substr(22, 2) != hex("02 03")) { // it takes a few milliseconds
                ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "restore " << i;
                std::this_thread::sleep_for(500us);
            }
        }
    };
    const std::string strFolder = "/proc/" + std::to_string(device.daemon());
    const auto number = [&](const std::string &strKey) {
        const std::string strStatus = readFile(strFolder + "/status");
        return std::stol(strStatus.substr(strStatus.find("\n" + strKey + ":") + strKey.size() + 2));
    };
    const auto files = [&] { return std::distance(std::filesystem::directory_iterator(strFolder + "/fd"), {}); };
    // ThreadSanitizer and the emulator have a thread of their own beside the loop.
    const auto noWorker = [&] { return number("Threads") <= 2; };
    restore(100);
    EXPECT_TRUE(eventually(noWorker)) << number("Threads");
    const long iAddresses = number("VmSize"); // AddressSanitizer maps terabytes
    const long iMemory = number("VmRSS");
    const auto iFiles = files();
    restore(SANITIZED ? 1000 : isEmulated() ? 200 : 10000);
    EXPECT_TRUE(eventually(noWorker)) << number("Threads");
    EXPECT_EQ(files(), iFiles);
    EXPECT_LE(number("VmSize") - iAddresses, 16 * 1024); // kB: two stacks
    if (!SANITIZED && !isEmulated()) {
        EXPECT_LE(number("VmRSS") - iMemory, 512); // kB: a record of each would be four times that
    }
}

} // namespace
