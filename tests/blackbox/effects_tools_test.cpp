// SPDX-License-Identifier: Apache-2.0
//
// What tools are given, what they inherit, and what stays of them.
#include "tests/blackbox/effects.h"

#include <algorithm>
#include <filesystem>
#include <thread>

namespace
{

class EffectsTools : public Effects
{
};

constexpr char TRAP[] = "/tmp/trap"; // what a name would make if it could run something

const std::string HOSTILE[] = {"plain-1.2_3.bin",
                               "with  two blanks",
                               ";touch /tmp/trap",
                               "&touch /tmp/trap",
                               "&&touch /tmp/trap",
                               "|touch /tmp/trap",
                               "||touch /tmp/trap",
                               "\ntouch /tmp/trap",
                               "a\ntouch /tmp/trap\n",
                               "`touch /tmp/trap`",
                               "$(touch /tmp/trap)",
                               "${IFS}",
                               "$HOME",
                               "$((1))",
                               "<(touch /tmp/trap)",
                               ">/tmp/trap",
                               "2>/tmp/trap",
                               "</tmp/tools",
                               "';touch /tmp/trap;'",
                               "\";touch /tmp/trap;\"",
                               "'",
                               "\"",
                               "\\",
                               "\\;touch /tmp/trap",
                               "\\\\;touch /tmp/trap",
                               "a\\\n;touch /tmp/trap",
                               "*",
                               "?",
                               "[a-z]*",
                               "~",
                               "~root",
                               "#",
                               "x #",
                               "{a,b}",
                               "!!",
                               "%s%n",
                               "-r",
                               "(touch /tmp/trap)",
                               "a=b touch",
                               "\xff\x80",
                               "\t;touch\t/tmp/trap"};

// The words that the shell makes of a name, with single blanks in between: line breaks are dropped.
std::string words(const std::string &strName)
{
    std::string strPlain = strName;
    std::erase(strPlain, '\n');
    std::replace(strPlain.begin(), strPlain.end(), '\t', ' ');
    const auto isSecondBlank = [](char chLeft, char chRight) { return chLeft == ' ' && chRight == ' '; };
    strPlain.erase(std::unique(strPlain.begin(), strPlain.end(), isSecondBlank), strPlain.end());
    if (strPlain.ends_with(' '))
        strPlain.pop_back();
    return strPlain;
}

TEST_F(EffectsTools, NamesRunNothing)
{
    const Bytes tftp = hex("01 01 01  c0 00 02 07"), http = hex("01 02 01  c0 00 02 07");
    for (const std::string &strName : HOSTILE) {
        SCOPED_TRACE(strName);
        std::string strWords = words(strName);
        const std::string strAfterBlank = strWords.starts_with(' ') ? strWords.substr(1) : strWords;
        const Bytes name = text(strName, 128);
        const std::string strURL = "http://192.0.2.7/" + strWords,
                          strTFTP = " 192.0.2.7 -l " + strAfterBlank + " -r " + strAfterBlank;
        const struct {
            uint16_t uOperation;
            Bytes body;
            std::string strTools;
        } STARTS[] = {
            {0x100, tftp + name, "firmware-upgrade t" + strURL.substr(1).replace(0, 3, "ftp")},
            {0x100, http + name,
             "wget " + strURL + " | flash-validate " + strAfterBlank +
                 " | killall -2 mDNSResponderPosix | flash-upgrade " + strAfterBlank},
            {0x101, tftp + name, "config-dump " + strAfterBlank + " | tftp -p" + strTFTP},
            {0x102, tftp + name, "tftp -g" + strTFTP + " | config-file validate " + strAfterBlank},
            {0x102, http + name, "wget " + strURL + " | config-file validate " + strAfterBlank},
        };
        for (const auto &is : STARTS) {
            prepare({}, {{"config-file", "exit 1"}});
            EXPECT_EQ(ask(request(is.uOperation, 1, is.body)).size(), 152u);
            eventually([&] { return noted("tools") == is.strTools; });
            EXPECT_EQ(noted("tools"), is.strTools);
            EXPECT_TRUE(is.uOperation != 0x102 ||
                        eventually([&] { return noted("worker").find("=failed") != std::string::npos; }));
        }
        ASSERT_FALSE(std::filesystem::exists(m_device.folder() + TRAP));
    }
}

TEST_F(EffectsTools, ValuesRunNothing)
{
    // The password is one word, also when it reads like a command; the back-slashes stay, as they always have.
    prepare({});
    const Bytes user = text("c3lzb3A=", 64);
    ask(request(0xA4, 1, CREDENTIALS + user + text("JCh0b3VjaCB4KWA7fA==", 64))); // $(touch x)`;|
    EXPECT_EQ(noted("tools"), "submit SET_PASSWD sysop \\$(touch x)\\`;|");
    // What is stored comes into no command line.
    const std::string strRun = "';touch /tmp/trap;`touch /tmp/trap`$(touch /tmp/trap)";
    for (const char *strKey : {"firmware-upgrade progress", "config status", "management static-ip", "system model"})
        m_always.emplace(strKey, strRun);
    for (int iOperation : {0xA1, 0xA6, 0xAA, 0xC0, 0xC9, 0xD2, 0xD8, 0x100, 0x101, 0x102, 0x103}) {
        const auto uOperation = static_cast<uint16_t>(iOperation);
        prepare({});
        const bool bAuth = uOperation < 0x100 && uOperation != 0xA1;
        EXPECT_FALSE(ask(request(uOperation, 1, (bAuth ? CREDENTIALS : "") + hex("01 01 01"))).empty());
        EXPECT_EQ(ask(request(0x99, 1)).size(), 22u);
        EXPECT_EQ(noted("tools"), uOperation == 0xA1   ? "date +%Y%m%d%H%M%S"
                                  : uOperation == 0xD2 ? "submit SET_IPADDRESS | submit COMMIT"
                                                       : "")
            << uOperation;
    }
    EXPECT_FALSE(std::filesystem::exists(m_device.folder() + TRAP));
}

TEST_F(EffectsTools, LeaveNoZombies)
{
    const auto children = [&] {
        const std::string strDaemon = std::to_string(m_device.daemon());
        std::string strAll;
        for (const auto &thread : std::filesystem::directory_iterator("/proc/" + strDaemon + "/task"))
            strAll += readFile(thread.path() / "children");
        return strAll;
    };
    const char *const ENDS[] = {"exit 0", "exit 1", "kill -9 $$", KILLED, "yes | head -c 10000000", "sleep 0.1 &"};
    const Bytes http = hex("01 02 01  c0 00 02 07") + text("ap.bin", 128);
    for (const char *strEnd : ENDS) {
        SCOPED_TRACE(strEnd);
        Settings tools;
        for (const char *strTool : {"submit", "date", "wget", "flash-validate", "flash-upgrade", "config-dump", "tftp"})
            tools[strTool] = strEnd;
        tools["config-file"] = std::string(strEnd) + "\nexit 1";
        prepare({}, tools);
        EXPECT_EQ(ask(request(0xD2, 1, CREDENTIALS)).size(), 38u);
        EXPECT_EQ(ask(request(0xAC, 1, CREDENTIALS)).size(), 122u);
        EXPECT_EQ(ask(request(0x100, 1, http)).size(), 152u);
        EXPECT_EQ(ask(request(0x101, 1, http)).size(), 152u);
        EXPECT_TRUE(eventually([&] { return children().empty(); })) << children();
    }
}

// More than the field takes cannot come from a sound "date".
TEST_F(EffectsTools, LongDateIsAnAssertion)
{
    prepare({}, {{"date", "echo 2024022923595912"}});
    send(request(0xA1, 1));
    EXPECT_EQ(m_device.awaitExit(), 128 + 6);
    EXPECT_THAT(
        m_device.err(),
        testing::MatchesRegex("sys:[0-9]+: sysGetDatetime: Assertion \"buf_len>strlen\\(str\\)\" failed.\n(.|\n)*"));
}

class BlackboxTools : public Blackbox
{
protected:
    // Devices with our own store; every tool does this.
    AccessPoint &startWith(const std::string &strTool)
    {
        return start({.strBefore = "cat >/usr/sbin/submit <<'END'\n#!/bin/sh\n" + strTool +
                                   "\nEND\nchmod +x /usr/sbin/submit; rm /usr/bin/date; cd /usr/sbin\n"
                                   "for tool in date tftp config-file; do ln submit $tool; done; cd /"});
    }
};

TEST_F(BlackboxTools, InheritNothing)
{
    AccessPoint &device = startWith("ls -l /proc/$$/fd | sed -n \"s:.*->:${0##*/} $1:p\" >>/tmp/inherited\nexit 1");
    const Bytes start = hex("01 01 01  c0 00 02 07") + text("ap.bin", 128);
    EXPECT_EQ(ask(request(0xA1, 1)).size(), 505u);
    EXPECT_EQ(ask(request(0xD2, 1, CREDENTIALS)).size(), 38u);
    EXPECT_EQ(ask(request(0x102, 1, start)).size(), 152u);
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
#ifdef VXP_SANITIZED
    constexpr int RESTORES = 1000;
#else
    const int RESTORES = isEmulated() ? 200 : 10000;
#endif
    const AccessPoint &device = start({.strBefore = "ln -s /bin/true /usr/sbin/tftp; "
                                                    "ln -s /bin/false /usr/sbin/config-file"});
    const Bytes begin = request(0x102, 1, hex("01 01 01  c0 00 02 07") + text("ap.bin", 128)),
                query = request(0x102, 1, hex("02"));
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
    [[maybe_unused]] const long iMemory = number("VmRSS");
    const auto iFiles = files();
    restore(RESTORES);
    EXPECT_TRUE(eventually(noWorker)) << number("Threads");
    EXPECT_EQ(files(), iFiles);
    EXPECT_LE(number("VmSize") - iAddresses, 16 * 1024); // kB: two stacks
#ifndef VXP_SANITIZED
    if (!isEmulated()) {
        EXPECT_LE(number("VmRSS") - iMemory, 512); // kB: a record of each would be four times that
    }
#endif
}

} // namespace
