// SPDX-License-Identifier: Apache-2.0
//
// Firmware upgrade, configuration backup and configuration restore: every branch.
#include "tests/blackbox/effects.h"

#include <regex>

namespace
{

using EffectsTransfer = Effects;

const std::string STR1000(1000, 's'), CONSOLE = " >/dev/console 2>&1";
const Bytes LONG_NAME(200, '`'); // 128 bytes of it are the request's
const std::string LONG = std::regex_replace(LONG_NAME.substr(0, 127), std::regex("`"), "\\`");

Bytes answer(std::string_view strResult, const std::string &strMessage = "", std::string_view strService = "01")
{
    return hex(strService) + hex(strResult) + text(strMessage, 128);
}

Bytes queried(std::string_view strResult, const std::string &strMessage = "")
{
    return answer(strResult, strMessage, "02");
}

const Bytes STARTED = answer("00");

// What all three refuse, in the same words.
TEST_F(EffectsTransfer, Refusals)
{
    for (int iOperation : {0x100, 0x101, 0x102}) {
        const std::string strField = iOperation == 0x100 ? "firmware-upgrade progress" : "config status",
                          strReply = "get " + strField + " | reply 152";
        m_strAlways = "@reads: " + strField;
        const auto refuse = [&](const char *strCase, const Bytes &body, const std::string &strMessage,
                                const std::string &strStored = "") {
            check(iOperation, {strCase, body, answer("01", strMessage, body[0] == 1 ? "01" : "ff"), strReply,
                               strStored.empty() ? "" : strField + ": " + strStored});
        };
        refuse("server type 3", hex("01 03 03") + FILE_NAME, "Invalid server type 3");
        refuse("address type 255", hex("01 02 ff") + FILE_NAME, "Invalid server IP address type 255");
        refuse("sub-service 255", hex("ff"), "Invalid sub-service type 255", "complete");
        for (const char *strBusy : {"config backup", "failed", "Validation failed"})
            refuse("busy", HTTP4 + FILE_NAME, "\"" + std::string(strBusy) + "\" is under processing", strBusy);
        refuse("busy, any type", hex("01 07 07"), "\"$(x) %s\" is under processing", "$(x) %s");
        refuse("busy with 1,000 characters", TFTP4, "\"" + STR1000, STR1000);
    }
}

const std::string PROGRESS = "get firmware-upgrade progress | ", SET_PROGRESS = "set firmware-upgrade progress=";

// An upgrade over HTTP of a file as the shell sees it, up to the check and behind it.
std::string download(const std::string &strServer, const std::string &strFile)
{
    return PROGRESS + SET_PROGRESS + "Downloading file | /tmp$ /usr/bin/wget http://" + strServer + "/" + strFile +
           " | " + SET_PROGRESS + "Validating file | /tmp$ ";
}

std::string flash(const std::string &strCommand)
{
    return " | " + SET_PROGRESS + "Upgrading firmware | /tmp$ killall -2 mDNSResponderPosix | /tmp$ " + strCommand +
           " | reply 152";
}

TEST_F(EffectsTransfer, UpgradeStart)
{
    m_strAlways = "@reads: firmware-upgrade";
    const Bytes http = HTTP4 + FILE_NAME;
    const std::string strCheck = "/usr/sbin/flash-validate ap.bin" + CONSOLE,
                      strFlash = "/usr/sbin/flash-upgrade ap.bin" + CONSOLE + " &",
                      strWhole = download("192.0.2.7", "ap.bin") + strCheck + flash(strFlash),
                      strBad = download("192.0.2.7", "ap.bin") + strCheck + " | " + SET_PROGRESS +
                               "Validation failed | reply 152";
    const auto tftp = [](const std::string &strRest) { return PROGRESS + strRest + " & | reply 152"; };
    const Effect EFFECTS[] = {
        // The folder is changed by the first download.
        {"TFTP", TFTP4 + FILE_NAME, STARTED, tftp("/$ /splashbin/firmware-upgrade tftp://192.0.2.7/ap.bin")},
        {"TFTP, IPv6", TFTP6 + FILE_NAME, STARTED, tftp("/$ splashbin/firmware-upgrade tftp://2001:db8::7/ap.bin")},
        {"HTTP, IPv6", HTTP6 + FILE_NAME, STARTED, download("", "ap.bin") + strCheck + flash(strFlash)},
        {"download fails", http, STARTED, strWhole, "", "wget: exit 4"},
        {"check fails", http, STARTED, strBad, "", "flash-validate: exit 1"},
        {"check killed", http, STARTED, strWhole, "", "flash-validate: " + KILLED},
        {"128-byte name", HTTP4 + LONG_NAME, STARTED, // command lines of 127 characters
         download("192.0.2.7", LONG) + "/usr/sbin/flash-validate " + LONG.substr(0, 102) +
             flash("/usr/sbin/flash-upgrade " + LONG.substr(0, 103))},
        {"the store refuses", http, STARTED, refusing(strBad), REFUSING, "flash-validate: exit 1"},
    };
    checkAll(0x100, EFFECTS);
}

// What is read last is acted on when the reply is out, whatever the request was.
TEST_F(EffectsTransfer, UpgradeProgress)
{
    m_strAlways = "@reads: firmware-upgrade";
    const Bytes done = queried("02"), start = TFTP4 + FILE_NAME,
                invalid = answer("01", "Invalid sub-service type 3", "03");
    const std::string strOnce = PROGRESS + "reply 152", strQuery = PROGRESS + strOnce,
                      strReboot = " | set system reboot=yes", strShutDown = " | /$ submit SHUTDOWN",
                      strIs = "firmware-upgrade progress: ", strThen = " -> ";
    const Effect EFFECTS[] = {
        {"idle", QUERY, done, strQuery},
        {"1 at the second read", QUERY, done, strQuery + strReboot, strIs + "2" + strThen + "1"},
        {"none at the second read", QUERY, done, strQuery, strIs + "2" + strThen},
        {"1, start", start, answer("01", "\"1\" is under processing"), strOnce + strReboot, strIs + "1"},
        {"2, sub-service 3", hex("03"), invalid, strOnce + strShutDown, strIs + "2"},
        {"none any more", hex("03"), invalid, strOnce},
    };
    checkAll(0x100, EFFECTS);
}

const std::string STATUS = "get config status | ",
                  SET_STATUS = "set config status=", IS = "config status: ", THEN = " -> ", ONCE = STATUS + "reply 152",
                  TWICE = STATUS + ONCE;

TEST_F(EffectsTransfer, BackupStart)
{
    m_strAlways = "@reads: config status";
    const auto backUp = [](const std::string &strServer, const std::string &strFile) {
        return SET_STATUS + "config backup | /tmp$ /usr/sbin/config-dump " + strFile + CONSOLE + " | /tmp$ tftp -p " +
               strServer + " -l " + strFile + " -r " + strFile + " | " + SET_STATUS + "complete | reply 152";
    };
    const std::string strUsual = backUp("192.0.2.7", "ap.bin"), strClear = STATUS + SET_STATUS + " | ";
    const Effect EFFECTS[] = {
        {"TFTP", TFTP4 + FILE_NAME, STARTED, STATUS + strUsual},
        {"HTTP goes by TFTP, IPv6 to nowhere", HTTP6 + FILE_NAME, STARTED, STATUS + backUp("", "ap.bin")},
        {"again", TFTP4 + FILE_NAME, STARTED, strClear + strUsual, IS + "complete"},
        {"tools fail", TFTP4 + FILE_NAME, STARTED, STATUS + strUsual, "", "config-dump: exit 1 | tftp: kill -9 $$"},
        {"server type after complete", hex("01 00 01"), answer("01", "Invalid server type 0"), strClear + "reply 152",
         IS + "complete"},
    };
    checkAll(0x101, EFFECTS);
}

TEST_F(EffectsTransfer, BackupQuery)
{
    m_strAlways = "@reads: config status";
    const Bytes none = queried("01", "\"config backup\" isn't running"), failed = queried("01", "Backup failed");
    const Effect EFFECTS[] = {
        {"never", QUERY, none, ONCE},
        {"empty", QUERY, none, ONCE, IS + THEN + "complete"},
        {"complete", QUERY, queried("00"), ONCE, IS + "complete" + THEN + "failed"},
        {"running", QUERY, queried("01"), TWICE, IS + "config backup"},
        {"failed", QUERY, failed, TWICE, IS + "failed"},
        {"a restore runs", QUERY, queried("01"), TWICE, IS + "verifying"},
        {"cleared in between", QUERY, queried("02"), TWICE, IS + "config backup" + THEN + "(none)"},
        {"complete in between", QUERY, queried("03"), TWICE, IS + "config backup" + THEN + "complete"},
        {"failed in between", QUERY, failed, TWICE, IS + "config backup" + THEN + "failed"},
        {"no longer failed", QUERY, queried("01"), TWICE, IS + "failed" + THEN + "config upgrade"},
    };
    checkAll(0x101, EFFECTS);
}

const std::string CHECK = " | set config status=verifying | /tmp$ /usr/sbin/config-file validate ",
                  FAILED = " | set config status=failed", COMPLETE = " | set config status=complete",
                  RESTORE = COMPLETE + " | sleep 2 | /tmp$ /usr/sbin/config-file restore ";

TEST_F(EffectsTransfer, RestoreStart)
{
    m_strAlways = "@reads: config status";
    const std::string strStarted = STATUS + SET_STATUS + "config upgrade | reply 152",
                      strBoth = CHECK + "ap.bin" + CONSOLE + RESTORE + "ap.bin" + CONSOLE;
    const Effect EFFECTS[] = {
        {"TFTP; the fetch and the restore fail", TFTP4 + FILE_NAME, STARTED, strStarted, "",
         "config-file: test $1 = validate | tftp: exit 1",
         "/tmp$ tftp -g 192.0.2.7 -l ap.bin -r ap.bin" + strBoth + COMPLETE},
        {"TFTP, IPv6 from nowhere, no check", TFTP6 + FILE_NAME, STARTED, strStarted, "", "config-file: (none)",
         "/tmp$ tftp -g  -l ap.bin -r ap.bin" + CHECK + "ap.bin" + CONSOLE + FAILED + COMPLETE},
        {"HTTP, IPv6, check killed", HTTP6 + FILE_NAME, STARTED, strStarted, "", "config-file: " + KILLED,
         "/tmp$ /usr/bin/wget http://2001:db8::7/ap.bin" + strBoth},
        {"128-byte name, check fails", HTTP4 + LONG_NAME, STARTED, strStarted, "", "config-file: exit 1",
         "/tmp$ /usr/bin/wget http://192.0.2.7/" + LONG + CHECK + LONG.substr(0, 96) + FAILED},
        {"complete is in the way", TFTP4, answer("01", "\"complete\" is under processing"), ONCE, IS + "complete"},
    };
    checkAll(0x102, EFFECTS);
}

TEST_F(EffectsTransfer, RestoreQuery)
{
    m_strAlways = "@reads: config status";
    const std::string strCleared = STATUS + STATUS + SET_STATUS + " | reply 152";
    const auto other = [](const std::string &strStatus) {
        return queried("01", "\"config upgrade\" isn't running: " + strStatus);
    };
    const Effect EFFECTS[] = {
        {"failed", QUERY, other("failed"), TWICE, IS + "failed"},
        {"the second read counts", QUERY, queried("03"), strCleared, IS + "failed" + THEN + "complete"},
        {"1,000 characters", QUERY, other(STR1000), TWICE, IS + STR1000},
    };
    checkAll(0x102, EFFECTS);
}

// The loop serves while the worker waits for its tools, and "complete" can be taken before the restore tool runs.
TEST_F(EffectsTransfer, RestoreRunsBesideTheLoop)
{
    const auto go = [&](const char *strStep) { writeFile(m_device.folder() + "/run/" + strStep, ""); };
    const auto wait = [](const std::string &strStep) {
        return "until [ -e /run/" + strStep + " ]; do sleep 0.01; done";
    };
    const auto says = [&](const Bytes &body, const Bytes &reply) {
        EXPECT_TRUE(same(replyFrame(0x102, reply), ask(request(0x102, 0x1234, body))));
    };
    const auto workerSays = [&](const std::string &strLast) {
        EXPECT_TRUE(eventually([&] { return noted("worker").ends_with(strLast); })) << noted("worker");
    };
    const auto isDone = [&] {
        says(QUERY, queried("03"));
        says(QUERY, queried("02"));
    };
    const Bytes start = TFTP4 + FILE_NAME;
    prepare("", "tftp: " + wait("fetched") + " | config-file: test $1 = restore || " + wait("checked"));
    says(start, STARTED);
    says(QUERY, queried("02"));
    says(start, answer("01", "\"config upgrade\" is under processing"));
    go("fetched");
    workerSays("config-file validate ap.bin" + CONSOLE);
    says(QUERY, queried("02"));
    says(start, answer("01", "\"verifying\" is under processing"));
    go("checked");
    workerSays("sleep 2");
    isDone();
    EXPECT_THAT(noted("worker"), testing::EndsWith("sleep 2"));
    workerSays("restore ap.bin" + CONSOLE + COMPLETE);
    isDone();
}

} // namespace
