// SPDX-License-Identifier: Apache-2.0
#include "tests/blackbox/effects.h"

#include <filesystem>

namespace
{

constexpr const char *TOOLS[] = {"submit",           "config-dump", "config-file", "flash-validate", "flash-upgrade",
                                 "firmware-upgrade", "wget",        "tftp",        "killall",        "date"};

// An unknown operation: it reads no field but those that every request does, and its trace in the log is known.
const Bytes PROBE = request(0x99, 1);
constexpr char PROBE_LINES[] = "pMsg->uOP_Code = 153 not support | reply 22";

} // namespace

Bytes replyFrame(std::string_view strOperation, std::string_view strLength, const Bytes &body)
{
    return hex("ee fe  34 12") + hex(strOperation) + hex("02 4b 65 73 74 01  c0 a8 4d 0a  00 00  02 00") +
           hex(strLength) + body;
}

Bytes statusFrame(std::string_view strOperation, std::string_view strStatus)
{
    return replyFrame(strOperation, "10 00", hex(strStatus) + zeros(12));
}

Effects::Effects(const std::string &strOptions, const std::string &strErrors)
    : m_device(start({.strOptions = strOptions,
                      .strBefore = "rm /usr/bin/date",
                      .strOutput = ">>/tmp/effects " + strErrors,
                      .bRecorded = true}))
{
}

void Effects::prepare(const Settings &store, const Settings &tools)
{
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
    Settings settings = store;
    settings.merge(Settings(m_always));
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

void Effects::check(uint16_t uOperation, const Effect &effect, const Bytes &credentials)
{
    SCOPED_TRACE(effect.strCase);
    prepare(effect.store, effect.tools);
    EXPECT_TRUE(same(effect.reply, ask(request(uOperation, 0x1234, credentials + effect.body))));
    EXPECT_EQ(ask(PROBE).size(), 22u);
    EXPECT_EQ(noted("effects"), effect.strSequence + " | " + PROBE_LINES);
    eventually([&] { return noted("worker") == effect.strWorker; });
    EXPECT_EQ(noted("worker"), effect.strWorker);
}

void Effects::checkAll(uint16_t uOperation, std::span<const Effect> effects, const Bytes &credentials)
{
    for (const Effect &effect : effects)
        check(uOperation, effect, credentials);
}
