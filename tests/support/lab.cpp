// SPDX-License-Identifier: Apache-2.0
#include "tests/support/lab.h"

#include "tests/support/contract.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace
{

Words joined(Words words, const Words &more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

// What a lab in FOLDER is called with.
int executeIn(const std::string &strFolder, const Words &words)
{
    setenv("VXPLAB_STATE", (strFolder + "/state").c_str(), 1);
    setenv("PATH", (VXP_BUILD_BIN ":" + std::string(getenv("PATH"))).c_str(), 1);
    return execute(words);
}

Result limited(const std::string &strFolder, const Words &words, const Call &call)
{
    const Words timeout = {"timeout", "-k", "5", std::to_string(call.limit.count())};
    const Words all = joined(joined(joined({"env"}, call.environment), timeout), words);
    return capture([&] { return executeIn(strFolder, all); }, call.strInput);
}

} // namespace

Lab::Keeper::Keeper()
{
    int iEnds[2];
    check(pipe2(iEnds, O_CLOEXEC), "pipe2");
    iChild = startChild([&] {
        setsid(); // an interrupt at the terminal is not for it
        dup2(iEnds[0], 0);
        return executeIn(folder.path(), {"sh", "-c", R"(read -r _; vxplab down; rm -rf "$0")", folder.path()});
    });
    close(iEnds[0]);
    iPipe = iEnds[1];
}

Lab::Keeper::~Keeper()
{
    close(iPipe);
    waitFor(iChild);
}

Lab::~Lab()
{
    EXPECT_EQ(contractProblems(m_printed), "");
}

std::string Lab::missing()
{
    if (isEmulatedHere())
        return "emulated: namespaces are the machine's";
    if (capture([] { return execute({VXP_HELPERS "/in-namespaces", "true"}); }).iStatus == 77)
        return "no namespaces here";
    return capture([] { return execute({VXP_BUILD_BIN "/vxplab", "--check-tools"}); }).strErr;
}

Result Lab::up(Words options, const std::string &strFleet) const
{
    if (!strFleet.empty()) {
        writeFile(folder() + "/fleet", strFleet);
        options = joined(std::move(options), {"--file", folder() + "/fleet"});
    }
    // Long enough to be noticed, however late this machine looks.
    return vxplab(joined({"up", "--boot-time", "2.5", "--flash-time", "0.1"}, options));
}

Result Lab::vxplab(Words words, const Call &call) const
{
    return limited(folder(), joined({"vxplab"}, words), call);
}

Result Lab::shell(const std::string &strLine, const Call &call) const
{
    return limited(folder(), {"sh", "-c", strLine}, call);
}

Result Lab::client(Words words, const Call &call) const
{
    return run(joined({"vxpctl"}, words), call);
}

Result Lab::run(Words words, const Call &call) const
{
    const Result result = vxplab(joined({"run"}, words), call);
    if (result.strOut.starts_with('{') && result.strOut.find("\"schema\"") != result.strOut.npos)
        m_printed.push_back(result.strOut);
    return result;
}

Result Lab::on(const std::string &strDevice, const std::string &strLine, const Call &call) const
{
    return vxplab({"exec", strDevice, "sh", "-c", strLine}, call);
}

Program Lab::start(Words words) const
{
    return Program([&] { return executeIn(folder(), joined({"vxplab"}, words)); });
}

std::string Lab::get(const std::string &strDevice, const std::string &strName) const
{
    const std::string strOut = on(strDevice, "lsqlctl get " + strName).strOut;
    return strOut.substr(0, strOut.find_last_not_of('\n') + 1);
}

void Lab::set(const std::string &strDevice, const std::string &strName, const std::string &strValue) const
{
    const Result result = on(strDevice, "lsqlctl set " + strName + " '" + strValue + "'");
    EXPECT_EQ(result.iStatus, 0) << strName << ": " << result.strErr;
}

bool Lab::becomes(const std::string &strDevice, const std::string &strName, const std::string &strValue) const
{
    return eventually([&] { return get(strDevice, strName) == strValue; });
}

std::string Lab::daemon(const std::string &strDevice) const
{
    const std::string strOut = on(strDevice, "grep -q :F600 /proc/net/udp && pgrep -x vxpd").strOut;
    return strOut.substr(0, strOut.find('\n'));
}

bool Lab::rebooted(const std::string &strDevice, const std::string &strDaemon) const
{
    return eventually([&] {
        const std::string strNow = daemon(strDevice);
        return !strNow.empty() && strNow != strDaemon;
    });
}

std::unique_ptr<const Lab> SharedLabTest::s_lab;

void SharedLabTest::bringUp(const Words &options, const std::string &strFleet)
{
    if (!Lab::missing().empty())
        return;
    s_lab = std::make_unique<const Lab>();
    const Result up = s_lab->up(options, strFleet);
    ASSERT_EQ(up.iStatus, 0) << up.strErr;
}

void SharedLabTest::SetUp()
{
    if (!s_lab)
        GTEST_SKIP() << Lab::missing();
}
