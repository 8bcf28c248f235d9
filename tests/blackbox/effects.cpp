// SPDX-License-Identifier: Apache-2.0
#include "tests/blackbox/effects.h"

#include <filesystem>
#include <regex>

namespace
{

constexpr const char *TOOLS[] = {"submit",           "config-dump", "config-file", "flash-validate", "flash-upgrade",
                                 "firmware-upgrade", "wget",        "tftp",        "killall",        "date"};

constexpr char UNKNOWN_LINES[] = " | pMsg->uOP_Code = 153 not support | reply 22";

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

std::string refusing(const std::string &strSequence)
{
    return std::regex_replace(strSequence, std::regex("set [^|]*\\| "), "$&Error occurred on set: 100% full | ");
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
    Settings tools = settingsOf(strTools);
    for (const std::string strTool : TOOLS) {
        const std::string strFile = m_device.folder() + "/sbin/" + strTool;
        std::filesystem::remove(strFile);
        const std::optional<std::string> &tool = tools.try_emplace(strTool, "").first->second;
        if (!tool)
            continue;
        writeFile(strFile, "#!/bin/sh\nprintf '%s\\n' \"${0##*/} $*\" >>/tmp/tools\n" + *tool + "\n");
        std::filesystem::permissions(strFile, std::filesystem::perms(0755));
    }
    Settings settings = settingsOf(strStore);
    settings.merge(settingsOf(m_strAlways));
    m_device.store(standardSettings(settings));
    for (const char *strFile : {"effects", "worker", "tools"})
        writeFile(m_device.folder() + "/tmp/" + strFile, "");
}

std::string Effects::noted(const std::string &strFile) const
{
    std::string strLines = readFile(m_device.folder() + "/tmp/" + strFile);
    if (strLines.ends_with('\n'))
        strLines.pop_back();
    return std::regex_replace(strLines, std::regex("\n"), " | ");
}

void Effects::check(int iOperation, const Effect &effect)
{
    SCOPED_TRACE(effect.strCase);
    prepare(effect.strStore, effect.strTools);
    EXPECT_TRUE(same(replyFrame(iOperation, effect.reply), ask(asOperation(iOperation, 0x1234, effect.body))));
    EXPECT_TRUE(same(REFUSAL, ask(UNKNOWN)));
    EXPECT_EQ(noted("effects"), effect.strSequence + UNKNOWN_LINES);
    eventually([&] { return noted("worker") == effect.strWorker; });
    EXPECT_EQ(noted("worker"), effect.strWorker);
}

void Effects::checkAll(int iOperation, std::span<const Effect> effects)
{
    for (const Effect &effect : effects)
        check(iOperation, effect);
}
