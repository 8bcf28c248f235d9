// SPDX-License-Identifier: Apache-2.0
#include "client/cache.h"
#include "client/failure.h"
#include "tests/support/support.h"

#include <ctime>
#include <net/if.h>
#include <thread>

using namespace vxpctl;

namespace
{

Record device(unsigned number, const char *pInterface = "eth0")
{
    char mac[24];
    std::snprintf(mac, sizeof mac, "02:00:00:00:%02x:%02x", number >> 8 & 255, number & 255);
    return {{"mac", mac}, {"ip", nullptr}, {"name", "d"}, {"interfaces", {pInterface}}};
}

std::vector<Interface> host(std::uint8_t network)
{
    return {{"eth0", 2, IFF_UP, {{{10, 1, network, 3}, 24}, {{10, 9, 9, 9}, 16}}}, {"eth1", 3, IFF_UP}};
}

class Cache : public testing::Test
{
protected:
    const TemporaryFolder m_folder;
    const Log m_log;
    const std::string m_file = m_folder.path() + "/new/devices.json";
    const DeviceCache m_cache{m_folder.path() + "/new", m_log};
};

TEST_F(Cache, DamageCountsAsEmptyAndIsRepaired)
{
    const std::string entry =
        R"({"mac": "02:00:00:00:00:01", "ip": null, "name": "n", "seen": 4000000000, "networks": ["e"]})";
    const auto with = [&entry](const std::string &value, const char *pOther) {
        return std::string(entry).replace(entry.find(value), value.size(), pOther);
    };
    const auto file = [](const std::string &entries, int version = 1) {
        return R"({"schema": "vxpctl-devices/)" + std::to_string(version) + R"(", "devices": [)" + entries + "]}";
    };
    const std::pair<std::string, std::size_t> cases[] = {
        {file(entry), 1},
        {"", 0},
        {"\x80{", 0},
        {"[]", 0},
        {R"({"schema": "vxpctl-devices/1"})", 0},
        {file(entry, 2), 0},
        {file(entry).substr(0, 100), 0},
        {file("7, null, {}, {\"mac\": 7}, " + entry), 1},
        {file(with("02:00:00:00:00:01", "02:00")), 0},
        {file(with("null", "\"x\"")), 0},
        {file(with("4000000000", "\"now\"")), 0},
        {file(with("\"e\"", "7")), 0},
    };
    m_cache.remember({device(2)}, host(2)); // makes the folder
    for (const auto &[content, devices] : cases) {
        writeFile(m_file, content);
        EXPECT_EQ(m_cache.devices().size(), devices) << content;
        m_cache.remember({device(2)}, host(2));
        EXPECT_EQ(m_cache.devices().size(), devices + 1) << content;
    }
}

TEST_F(Cache, DevicesBelongToANetwork)
{
    m_cache.remember({device(1), device(2, "eth1")}, host(2));
    EXPECT_EQ(m_cache.devicesOn(host(2)).size(), 2U);
    EXPECT_EQ(m_cache.devicesOn({host(3)[1]}).size(), 1U);
    auto elsewhere = host(3);
    EXPECT_EQ(m_cache.devicesOn(elsewhere).size(), 2U) << "the second subnet is still there";
    elsewhere[0].subnets.pop_back();
    EXPECT_EQ(m_cache.devicesOn(elsewhere).size(), 1U);
}

TEST_F(Cache, ClientsAtOnceLoseNothingAndOldDevicesGo)
{
    {
        std::vector<std::jthread> clients;
        for (unsigned i = 0; i < 8; i++)
            clients.emplace_back([this, i] {
                for (unsigned j = 0; j < 20; j++)
                    m_cache.remember({device(i << 8 | j)}, host(2));
            });
    }
    EXPECT_EQ(m_cache.devices().size(), 160U);
    Record content = Record::parse(readFile(m_file));
    content["devices"][7]["seen"] = std::time(nullptr) - 91 * 86400;
    writeFile(m_file, content.dump());
    m_cache.remember({device(9999)}, host(2));
    EXPECT_EQ(m_cache.devices().size(), 160U) << "one came and one went";
    EXPECT_EQ(m_cache.forget([](const Record &) { return true; }).size(), 160U);
    EXPECT_THROW(DeviceCache("/proc/vxpctl", m_log).forget([](const Record &) { return true; }), Failure);
    DeviceCache("/proc/vxpctl", m_log).remember({device(1)}, host(2)); // tells the log, no more
}

} // namespace
