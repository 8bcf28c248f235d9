// SPDX-License-Identifier: Apache-2.0
//
// A lab of simulated access points for tests that go all the way: client, wire, daemon, store, tool and back.
#ifndef VXP_TESTS_SUPPORT_LAB_H
#define VXP_TESTS_SUPPORT_LAB_H

#include "tests/support/support.h"

#include <memory>

using Words = std::vector<std::string>;

struct Call {
    std::string strInput = "";
    Words environment = {};         // NAME=VALUE
    std::chrono::seconds limit{60}; // after that it is ended, with status 124
};

// What "up" starts lives as long as the object, and no longer than this program, whatever ends it. Programs of the
// build come first in PATH. "ap1" and so on are the names of numbered devices; user and password are "sysop" and "lab".
// At its end, all JSON that vxpctl has printed on the manager is held against its schema.
class Lab
{
public:
    Lab() = default;
    ~Lab();
    Lab(const Lab &) = delete;
    Lab &operator=(const Lab &) = delete;

    static std::string missing(); // why no lab can be here; empty when it can

    // OPTIONS and count as for "vxplab up"; FLEET is a fleet file's text, instead of a count.
    Result up(Words options = {"1"}, const std::string &strFleet = "") const;
    Result shell(const std::string &strLine, const Call &call = {}) const; // out here, where vxplab knows this lab
    Result vxplab(Words words, const Call &call = {}) const;
    Result client(Words words, const Call &call = {}) const; // vxpctl on the manager, 192.168.0.1
    Result run(Words words, const Call &call = {}) const;    // any command there
    Result on(const std::string &strDevice, const std::string &strLine, const Call &call = {}) const; // a line of shell
    // A command that goes on while the test does, such as {"serve", FOLDER} or {"run", "vxpctl", ...}.
    Program start(Words words) const;

    // A setting, "OBJECT[/INSTANCE] FIELD", less its line break; empty when it is not there.
    std::string get(const std::string &strDevice, const std::string &strName) const;
    void set(const std::string &strDevice, const std::string &strName, const std::string &strValue) const;
    bool becomes(const std::string &strDevice, const std::string &strName, const std::string &strValue) const;
    std::string daemon(const std::string &strDevice) const; // its number there, once it listens; else empty
    // Until another daemon than DAEMON listens there.
    bool rebooted(const std::string &strDevice, const std::string &strDaemon) const;

    const std::string &folder() const { return m_keeper.folder.path(); } // for files of the test; seen in the lab, too

private:
    mutable std::vector<std::string> m_printed{}; // by vxpctl, as JSON

    // Another process ends the lab when it sees our end of the pipe close.
    struct Keeper {
        Keeper();
        ~Keeper();
        Keeper(const Keeper &) = delete;
        Keeper &operator=(const Keeper &) = delete;
        TemporaryFolder folder{"/tmp"}; // the lab has a /dev/shm of its own
        int iPipe;
        pid_t iChild;
    } m_keeper;
};

// Tests that share one lab: derive, and call bringUp in a static SetUpTestSuite. Skips where there can be none.
class SharedLabTest : public testing::Test
{
protected:
    static void bringUp(const Words &options = {"1"}, const std::string &strFleet = "");
    static void TearDownTestSuite() { s_lab.reset(); }
    void SetUp() override;
    static std::unique_ptr<const Lab> s_lab;
};

#endif
