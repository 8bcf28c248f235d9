// SPDX-License-Identifier: Apache-2.0
//
// Firmware upgrade, configuration backup and configuration restore: every branch.
#include "tests/blackbox/effects.h"

namespace
{

const Bytes TFTP4 = hex("01 01 01  c0 00 02 07"), HTTP4 = hex("01 02 01  c0 00 02 07"),
            SERVER6 = hex("20 01 0d b8") + zeros(11) + hex("07"), TFTP6 = hex("01 01 02") + SERVER6,
            HTTP6 = hex("01 02 02") + SERVER6;
const Bytes FILE_NAME = text("ap.bin", 128), QUERY = hex("02");
const std::string LONG(127, 'n');
const Bytes LONG_NAME(200, 'n'); // 128 bytes of it are the request's

class EffectsTransfer : public Effects
{
protected:
    Bytes answer(std::string_view strResult, const std::string &strMessage = "", std::string_view strService = "01")
    {
        return replyFrame(m_strOperation, "82 00", hex(strService) + hex(strResult) + text(strMessage, 128));
    }
    std::string_view m_strOperation;
};

class EffectsUpgrade : public EffectsTransfer
{
protected:
    EffectsUpgrade()
    {
        m_strOperation = "00 01";
        m_always = {{"@reads", "firmware-upgrade"}};
    }
};

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

TEST_F(EffectsUpgrade, Start)
{
    const Bytes accepted = answer("00");
    const std::string strCheck = "/usr/sbin/flash-validate ap.bin >/dev/console 2>&1",
                      strFlash = "/usr/sbin/flash-upgrade ap.bin >/dev/console 2>&1 &",
                      strWhole = download("192.0.2.7", "ap.bin") + strCheck + flash(strFlash),
                      strBad = download("192.0.2.7", "ap.bin") + strCheck + " | " + SET_PROGRESS +
                               "Validation failed | reply 152";
    const auto refused = [&](const std::string &strMessage) { return answer("01", strMessage); };
    const std::string str1000(1000, 'p');
    const Effect EFFECTS[] = {
        // The folder is changed by the first download.
        {"TFTP", TFTP4 + FILE_NAME, accepted,
         PROGRESS + "/$ /splashbin/firmware-upgrade tftp://192.0.2.7/ap.bin & | reply 152"},
        {"TFTP, IPv6", TFTP6 + FILE_NAME, accepted,
         PROGRESS + "/$ splashbin/firmware-upgrade tftp://2001:db8::7/ap.bin & | reply 152"},
        {"HTTP", HTTP4 + FILE_NAME, accepted, strWhole},
        {"HTTP, IPv6", HTTP6 + FILE_NAME, accepted, download("", "ap.bin") + strCheck + flash(strFlash)},
        {"TFTP later", TFTP4 + FILE_NAME, accepted,
         PROGRESS + "/tmp$ /splashbin/firmware-upgrade tftp://192.0.2.7/ap.bin & | reply 152"},
        {"download fails", HTTP4 + FILE_NAME, accepted, strWhole, {}, {{"wget", "exit 4"}}},
        {"no downloader", HTTP4 + FILE_NAME, accepted, strWhole, {}, {{"wget", std::nullopt}}},
        {"check fails", HTTP4 + FILE_NAME, accepted, strBad, {}, {{"flash-validate", "exit 1"}}},
        {"check missing", HTTP4 + FILE_NAME, accepted, strBad, {}, {{"flash-validate", std::nullopt}}},
        {"check killed", HTTP4 + FILE_NAME, accepted, strWhole, {}, {{"flash-validate", KILLED}}},
        {"check prints 10 MB",
         HTTP4 + FILE_NAME,
         accepted,
         strWhole,
         {},
         {{"flash-validate", "yes | head -c 10000000"}}},
        {"flashing fails",
         HTTP4 + FILE_NAME,
         accepted,
         strWhole,
         {},
         {{"flash-upgrade", "exit 1"}, {"killall", std::nullopt}}},
        {"128-byte name", HTTP4 + LONG_NAME, accepted, // command lines of 127 characters
         download("192.0.2.7", LONG) + "/usr/sbin/flash-validate " + LONG.substr(0, 102) +
             flash("/usr/sbin/flash-upgrade " + LONG.substr(0, 103))},
        {"name with blanks", TFTP4 + text(" my  ap.bin", 128), accepted,
         PROGRESS + "/tmp$ /splashbin/firmware-upgrade tftp://192.0.2.7/ my  ap.bin & | reply 152"},
        {"body ends in the address", TFTP4.substr(0, 5), accepted,
         PROGRESS + "/tmp$ /splashbin/firmware-upgrade tftp://192.0.0.0/ & | reply 152"},
        {"no server type", hex("01 00 01") + FILE_NAME, refused("Invalid server type 0"), PROGRESS + "reply 152"},
        {"server type 3", hex("01 03 03") + FILE_NAME, refused("Invalid server type 3"), PROGRESS + "reply 152"},
        {"no address type", hex("01 01 00") + FILE_NAME, refused("Invalid server IP address type 0"),
         PROGRESS + "reply 152"},
        {"address type 255", hex("01 02 ff") + FILE_NAME, refused("Invalid server IP address type 255"),
         PROGRESS + "reply 152"},
        {"busy",
         HTTP4 + FILE_NAME,
         refused("\"Validation failed\" is under processing"),
         PROGRESS + "reply 152",
         {{"firmware-upgrade progress", "Validation failed"}}},
        {"busy with 1,000 characters",
         HTTP4 + FILE_NAME,
         refused("\"" + str1000),
         PROGRESS + "reply 152",
         {{"firmware-upgrade progress", str1000}}},
        {"busy, any type",
         hex("01 07 07"),
         refused("\"$(x) %s\" is under processing"),
         PROGRESS + "reply 152",
         {{"firmware-upgrade progress", "$(x) %s"}}},
        {"sub-service 0", zeros(100), answer("01", "Invalid sub-service type 0", "00"), PROGRESS + "reply 152"},
        {"sub-service 255", hex("ff"), answer("01", "Invalid sub-service type 255", "ff"), PROGRESS + "reply 152"},
        {"the store refuses",
         HTTP4 + FILE_NAME,
         accepted,
         PROGRESS + SET_PROGRESS +
             "Downloading file | Error occurred on set: no | "
             "/tmp$ /usr/bin/wget http://192.0.2.7/ap.bin | " +
             SET_PROGRESS + "Validating file | Error occurred on set: no | /tmp$ " + strCheck + " | " + SET_PROGRESS +
             "Validation failed | Error occurred on set: no | reply 152",
         {{"@fail", "no"}},
         {{"flash-validate", "exit 1"}}},
    };
    checkAll(0x100, EFFECTS, {});
}

// What is read last is acted on when the reply is out, whatever the request was.
TEST_F(EffectsUpgrade, Progress)
{
    const Bytes queried = answer("02", "", "02");
    const std::string strQuery = PROGRESS + PROGRESS + "reply 152", strReboot = " | set system reboot=yes",
                      strShutDown = " | /$ submit SHUTDOWN";
    const auto progress = [](const std::string &strText) { return Settings{{"firmware-upgrade progress", strText}}; };
    const Bytes start = TFTP4 + FILE_NAME;
    const Effect EFFECTS[] = {
        {"idle", QUERY, queried, strQuery},
        {"running", QUERY, queried, strQuery, progress("Validating file")},
        {"1", QUERY, queried, strQuery + strReboot, progress("1")},
        {"2", QUERY, queried, strQuery + strShutDown, progress("2")},
        {"2, no tool", QUERY, queried, strQuery + strShutDown, progress("2"), {{"submit", std::nullopt}}},
        {"11", QUERY, queried, strQuery, progress("11")},
        {"1 and a blank", QUERY, queried, strQuery, progress("1 ")},
        {"1,000 characters", QUERY, queried, strQuery, progress(std::string(1000, '1'))},
        {"2,000 characters", QUERY, queried, strQuery, progress(std::string(2000, '1'))},
        {"1 at the second read",
         QUERY,
         queried,
         strQuery + strReboot,
         {{"firmware-upgrade progress", "2"}, {"@read 2 firmware-upgrade progress", "1"}}},
        {"none at the second read",
         QUERY,
         queried,
         strQuery,
         {{"firmware-upgrade progress", "2"}, {"@read 2 firmware-upgrade progress", ""}}},
        {"1, start", start, answer("01", "\"1\" is under processing"), PROGRESS + "reply 152" + strReboot,
         progress("1")},
        {"2, start", start, answer("01", "\"2\" is under processing"), PROGRESS + "reply 152" + strShutDown,
         progress("2")},
        {"1, sub-service 3", hex("03"), answer("01", "Invalid sub-service type 3", "03"),
         PROGRESS + "reply 152" + strReboot, progress("1")},
        {"2, sub-service 3", hex("03"), answer("01", "Invalid sub-service type 3", "03"),
         PROGRESS + "reply 152" + strShutDown, progress("2")},
    };
    checkAll(0x100, EFFECTS, {});
}

const std::string STATUS = "get config status | ", SET_STATUS = "set config status=";

Settings status(const std::string &strFirst, const std::string &strSecond)
{
    return {{"config status", strFirst}, {"@read 2 config status", strSecond}};
}

class EffectsBackup : public EffectsTransfer
{
protected:
    EffectsBackup()
    {
        m_strOperation = "01 01";
        m_always = {{"@reads", "config status"}};
    }
};

std::string backUp(const std::string &strServer, const std::string &strFile)
{
    return SET_STATUS + "config backup | /tmp$ /usr/sbin/config-dump " + strFile +
           " >/dev/console 2>&1 | /tmp$ tftp -p " + strServer + " -l " + strFile + " -r " + strFile + " | " +
           SET_STATUS + "complete | reply 152";
}

TEST_F(EffectsBackup, Start)
{
    const Bytes done = answer("00");
    const std::string strBackUp = STATUS + backUp("192.0.2.7", "ap.bin"), strClear = STATUS + SET_STATUS + " | ";
    const auto busy = [&](const std::string &strStatus) -> Effect {
        return {"busy",
                TFTP4 + FILE_NAME,
                answer("01", "\"" + strStatus + "\" is under processing"),
                STATUS + "reply 152",
                {{"config status", strStatus}}};
    };
    const Bytes wrongServer = hex("01 00 01"), wrongAddress = hex("01 01 03");
    const Effect EFFECTS[] = {
        {"TFTP", TFTP4 + FILE_NAME, done, strBackUp},
        {"HTTP goes by TFTP", HTTP4 + FILE_NAME, done, strBackUp},
        {"IPv6 has no server", TFTP6 + FILE_NAME, done, STATUS + backUp("", "ap.bin")},
        {"HTTP, IPv6", HTTP6 + FILE_NAME, done, STATUS + backUp("", "ap.bin")},
        {"again", TFTP4 + FILE_NAME, done, strClear + backUp("192.0.2.7", "ap.bin"), {{"config status", "complete"}}},
        {"tools fail", TFTP4 + FILE_NAME, done, strBackUp, {}, {{"config-dump", "exit 1"}, {"tftp", "kill -9 $$"}}},
        {"tools missing",
         TFTP4 + FILE_NAME,
         done,
         strBackUp,
         {},
         {{"config-dump", std::nullopt}, {"tftp", std::nullopt}}},
        {"128-byte name", TFTP4 + LONG_NAME, done, STATUS + backUp("192.0.2.7", LONG)},
        {"name with blanks", TFTP4 + text("my ap.bin", 128), done, STATUS + backUp("192.0.2.7", "my ap.bin")},
        {"server type", wrongServer, answer("01", "Invalid server type 0"), STATUS + "reply 152"},
        {"address type", wrongAddress, answer("01", "Invalid server IP address type 3"), STATUS + "reply 152"},
        {"server type after complete",
         wrongServer,
         answer("01", "Invalid server type 0"),
         strClear + "reply 152",
         {{"config status", "complete"}}},
        {"address type after complete",
         wrongAddress,
         answer("01", "Invalid server IP address type 3"),
         strClear + "reply 152",
         {{"config status", "complete"}}},
        busy("config backup"),
        busy("config upgrade"),
        busy("verifying"),
        busy("failed"),
        busy("complete "),
        {"busy with 1,000 characters",
         TFTP4,
         answer("01", "\"" + std::string(1000, 's')),
         STATUS + "reply 152",
         {{"config status", std::string(1000, 's')}}},
        {"sub-service 3",
         hex("03"),
         answer("01", "Invalid sub-service type 3", "03"),
         STATUS + "reply 152",
         {{"config status", "complete"}}},
    };
    checkAll(0x101, EFFECTS, {});
}

TEST_F(EffectsBackup, Query)
{
    const auto query = [&](std::string_view strResult, const std::string &strMessage = "") {
        return answer(strResult, strMessage, "02");
    };
    const Bytes none = query("01", "\"config backup\" isn't running");
    const std::string strOnce = STATUS + "reply 152", strTwice = STATUS + STATUS + "reply 152";
    const Effect EFFECTS[] = {
        {"never", QUERY, none, strOnce},
        {"empty", QUERY, none, strOnce, status("", "complete")},
        {"complete", QUERY, query("00"), strOnce, status("complete", "failed")},
        {"running", QUERY, query("01"), strTwice, {{"config status", "config backup"}}},
        {"failed", QUERY, query("01", "Backup failed"), strTwice, {{"config status", "failed"}}},
        {"a restore runs", QUERY, query("01"), strTwice, {{"config status", "verifying"}}},
        {"cleared in between", QUERY, query("02"), strTwice, status("config backup", "")},
        {"complete in between", QUERY, query("03"), strTwice, status("config backup", "complete")},
        {"failed in between", QUERY, query("01", "Backup failed"), strTwice, status("config backup", "failed")},
        {"no longer failed", QUERY, query("01"), strTwice, status("failed", "config upgrade")},
    };
    checkAll(0x101, EFFECTS, {});
}

class EffectsRestore : public EffectsTransfer
{
protected:
    EffectsRestore()
    {
        m_strOperation = "02 01";
        m_always = {{"@reads", "config status (not noted)"}};
    }
};

const std::string CHECK = " | set config status=verifying | /tmp$ /usr/sbin/config-file validate ",
                  FAILED = " | set config status=failed", COMPLETE = " | set config status=complete",
                  RESTORE = COMPLETE + " | sleep 2 | /tmp$ /usr/sbin/config-file restore ",
                  CONSOLE = " >/dev/console 2>&1";

TEST_F(EffectsRestore, Start)
{
    const Bytes started = answer("00");
    const std::string strStarted = SET_STATUS + "config upgrade | reply 152",
                      strBoth = CHECK + "ap.bin" + CONSOLE + RESTORE + "ap.bin" + CONSOLE,
                      strBad = CHECK + "ap.bin" + CONSOLE + FAILED,
                      strTFTP = "/tmp$ tftp -g 192.0.2.7 -l ap.bin -r ap.bin",
                      strTFTP6 = "/tmp$ tftp -g  -l ap.bin -r ap.bin",
                      strHTTP = "/tmp$ /usr/bin/wget http://192.0.2.7/ap.bin",
                      strHTTP6 = "/tmp$ /usr/bin/wget http://2001:db8::7/ap.bin";
    const Settings bad = {{"config-file", "exit 1"}}, missing = {{"config-file", std::nullopt}},
                   killed = {{"config-file", KILLED}},
                   restoreFails = {{"config-file", "test $1 = validate"}, {"tftp", "exit 1"}};
    const auto busy = [&](const std::string &strStatus) -> Effect {
        return {"busy",
                TFTP4 + FILE_NAME,
                answer("01", "\"" + strStatus + "\" is under processing"),
                "reply 152",
                {{"config status", strStatus}}};
    };
    const Effect EFFECTS[] = {
        {"TFTP", TFTP4 + FILE_NAME, started, strStarted, {}, restoreFails, strTFTP + strBoth + COMPLETE},
        {"TFTP, bad", TFTP4 + FILE_NAME, started, strStarted, {}, bad, strTFTP + strBad + COMPLETE},
        {"TFTP, IPv6, bad", TFTP6 + FILE_NAME, started, strStarted, {}, missing, strTFTP6 + strBad + COMPLETE},
        {"HTTP", HTTP4 + FILE_NAME, started, strStarted, {}, {}, strHTTP + strBoth},
        {"HTTP, bad", HTTP4 + FILE_NAME, started, strStarted, {}, bad, strHTTP + strBad},
        {"HTTP, IPv6, killed", HTTP6 + FILE_NAME, started, strStarted, {}, killed, strHTTP6 + strBoth},
        {"HTTP, IPv6, bad", HTTP6 + FILE_NAME, started, strStarted, {}, missing, strHTTP6 + strBad},
        {"128-byte name",
         HTTP4 + LONG_NAME,
         started,
         strStarted,
         {},
         bad,
         "/tmp$ /usr/bin/wget http://192.0.2.7/" + LONG + CHECK + LONG.substr(0, 96) + FAILED},
        {"name with blanks",
         TFTP4 + text("my ap.bin", 128),
         started,
         strStarted,
         {},
         bad,
         "/tmp$ tftp -g 192.0.2.7 -l my ap.bin -r my ap.bin" + CHECK + "my ap.bin" + CONSOLE + FAILED + COMPLETE},
        {"server type", hex("01 03 01"), answer("01", "Invalid server type 3"), "reply 152"},
        {"address type", hex("01 02 00"), answer("01", "Invalid server IP address type 0"), "reply 152"},
        busy("config backup"),
        busy("config upgrade"),
        busy("verifying"),
        busy("failed"),
        busy("complete"),
        busy("x"),
        {"sub-service 3",
         hex("03"),
         answer("01", "Invalid sub-service type 3", "03"),
         "reply 152",
         {{"config status", "complete"}}},
    };
    checkAll(0x102, EFFECTS, {});
}

TEST_F(EffectsRestore, Query)
{
    m_always = {{"@reads", "config status"}};
    const std::string strTwice = STATUS + STATUS, strCleared = strTwice + SET_STATUS + " | reply 152",
                      strReply = strTwice + "reply 152";
    const auto other = [&](const std::string &strStatus) {
        return answer("01", "\"config upgrade\" isn't running: " + strStatus, "02");
    };
    const Bytes busy = answer("02", "", "02"), complete = answer("03", "", "02");
    const Effect EFFECTS[] = {
        {"idle", QUERY, busy, strReply},
        {"fetching", QUERY, busy, strReply, {{"config status", "config upgrade"}}},
        {"verifying", QUERY, busy, strReply, {{"config status", "verifying"}}},
        {"complete", QUERY, complete, strCleared, {{"config status", "complete"}}},
        {"failed", QUERY, other("failed"), strReply, {{"config status", "failed"}}},
        {"a backup runs", QUERY, other("config backup"), strReply, {{"config status", "config backup"}}},
        {"the second read counts", QUERY, complete, strCleared, status("failed", "complete")},
        {"1,000 characters",
         QUERY,
         other(std::string(1000, 's')),
         strReply,
         {{"config status", std::string(1000, 's')}}},
    };
    checkAll(0x102, EFFECTS, {});
}

// The loop serves while the worker waits for its tools, and "complete" can be taken before the restore tool runs.
TEST_F(EffectsRestore, RunsBesideTheLoop)
{
    const auto go = [&](const char *strStep) { writeFile(m_device.folder() + "/run/" + strStep, ""); };
    const auto wait = [](const std::string &strStep) {
        return "until [ -e /run/" + strStep + " ]; do sleep 0.01; done";
    };
    const auto says = [&](const Bytes &body, const Bytes &reply) {
        EXPECT_TRUE(same(reply, ask(request(0x102, 0x1234, body))));
    };
    const auto workerSays = [&](const std::string &strLast) {
        EXPECT_TRUE(eventually([&] { return noted("worker").ends_with(strLast); })) << noted("worker");
    };
    const Bytes start = TFTP4 + FILE_NAME, busy = answer("02", "", "02"), complete = answer("03", "", "02");
    prepare({}, {{"tftp", wait("fetched")}, {"config-file", "test $1 = restore || " + wait("checked")}});
    says(start, answer("00"));
    says(QUERY, busy);
    says(start, answer("01", "\"config upgrade\" is under processing"));
    go("fetched");
    workerSays("config-file validate ap.bin" + CONSOLE);
    says(QUERY, busy);
    says(start, answer("01", "\"verifying\" is under processing"));
    go("checked");
    workerSays("sleep 2");
    says(QUERY, complete);
    says(QUERY, busy);
    EXPECT_THAT(noted("worker"), testing::EndsWith("sleep 2"));
    workerSays("restore ap.bin" + CONSOLE + COMPLETE);
    says(QUERY, complete);
    says(QUERY, busy);
}

} // namespace
