// SPDX-License-Identifier: Apache-2.0
#include "tests/blackbox/effects.h"

#include <algorithm>
#include <filesystem>

namespace
{

constexpr const char *TOOLS[] = {"submit",           "config-dump", "config-file", "flash-validate", "flash-upgrade",
                                 "firmware-upgrade", "wget",        "tftp",        "killall",        "date"};

// An unknown operation: it reads no field but those that every request does, and its trace in the log is known.
const Bytes PROBE = request(0x99, 1),
            REFUSAL = hex("ee fe  01 00  99 00  02 4b 65 73 74 01  c0 a8 4d 0a  03 00  02 00  00 00");
constexpr char PROBE_LINES[] = " | pMsg->uOP_Code = 153 not support | reply 22";

Settings parse(const std::string &strList)
{
    Settings settings;
    for (const std::string &strSetting : split(strList, " | ")) {
        const size_t uColon = strSetting.find(": ");
        if (uColon == strSetting.npos)
            continue;
        const std::string strValue = strSetting.substr(uColon + 2);
        settings[strSetting.substr(0, uColon)] =
            strValue == "(none)" ? std::nullopt : std::optional<std::string>(strValue);
    }
    return settings;
}

} // namespace

Bytes replyFrame(int iOperation, const Bytes &body)
{
    return hex("ee fe  34 12") + le16(iOperation) + hex("02 4b 65 73 74 01  c0 a8 4d 0a  00 00  02 00") +
           le16(static_cast<int>(body.size())) + body;
}

Bytes status(std::string_view strStatus)
{
    return text(hex(strStatus), 16);
}

Bytes asOperation(int iOperation, int iTag, const Bytes &body)
{
    return request(iOperation, iTag, (takesCredentials(iOperation) ? CREDENTIALS : Bytes{}) + body);
}

Effects::Effects(const std::string &strOptions, const std::string &strErrors)
    : m_device(start({.strOptions = strOptions,
                      .strBefore = "rm /usr/bin/date",
                      .strOutput = ">>/tmp/effects " + strErrors,
                      .bRecorded = true}))
{
}

void Effects::prepare(const std::string &strStore, const std::string &strTools)
{
    const Settings tools = parse(strTools);
    for (const std::string strTool : TOOLS) {
        const std::string strFile = m_device.folder() + "/sbin/" + strTool;
        const auto found = tools.find(strTool);
        std::filesystem::remove(strFile);
        if (found != tools.end() && !found->second)
            continue;
        writeFile(strFile, "#!/bin/sh\nprintf '%s\\n' \"${0##*/} $*\" >>/tmp/tools\n" +
                               (found == tools.end() ? "" : *found->second) + "\n");
        std::filesystem::permissions(strFile, std::filesystem::perms(0755));
    }
    Settings settings = parse(strStore);
    settings.merge(parse(m_strAlways));
    m_device.store(standardSettings(settings));
    for (const char *strFile : {"effects", "worker", "tools"})
        writeFile(m_device.folder() + "/tmp/" + strFile, "");
}

std::string Effects::noted(const std::string &strFile) const
{
    std::string strLines = readFile(m_device.folder() + "/tmp/" + strFile), strResult;
    if (strLines.ends_with('\n'))
        strLines.pop_back();
    for (char ch : strLines)
        strResult += ch == '\n' ? std::string(" | ") : std::string(1, ch);
    return strResult;
}

void Effects::check(int iOperation, const Effect &effect)
{
    SCOPED_TRACE(effect.strCase);
    prepare(effect.strStore, effect.strTools);
    EXPECT_TRUE(same(replyFrame(iOperation, effect.reply), ask(asOperation(iOperation, 0x1234, effect.body))));
    EXPECT_TRUE(same(REFUSAL, ask(PROBE)));
    EXPECT_EQ(noted("effects"), effect.strSequence + PROBE_LINES);
    eventually([&] { return noted("worker") == effect.strWorker; });
    EXPECT_EQ(noted("worker"), effect.strWorker);
}

void Effects::checkAll(int iOperation, std::span<const Effect> effects)
{
    for (const Effect &effect : effects)
        check(iOperation, effect);
}
