// SPDX-License-Identifier: Apache-2.0
#include "client/cache.h"

#include "client/failure.h"
#include "client/file_descriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>

namespace vxpctl
{
namespace
{

constexpr const char *cacheSchema = "vxpctl-devices/1";
constexpr std::int64_t longestAbsence = 90 * 86400; // seconds
constexpr std::size_t mostDevices = 5000;           // the file stays small whatever a segment is flooded with

std::string defaultFolder()
{
    const char *pCache = std::getenv("XDG_CACHE_HOME"), *pHome = std::getenv("HOME");
    const bool named = pCache && *pCache == '/'; // XDG base directories: a relative path is to be ignored
    const std::string base = named ? pCache : pHome && *pHome == '/' ? pHome : "";
    struct stat status {
    };
    if (base.empty() || (stat(base.c_str(), &status) == 0 && status.st_uid != geteuid()))
        return "";
    return base + (named ? "/vxpctl" : "/.cache/vxpctl");
}

bool isDevice(const Record &entry)
{
    const auto isText = [&entry](const char *pName) { return entry.contains(pName) && entry[pName].is_string(); };
    return entry.is_object() && isText("mac") && parseMac(entry["mac"]) && isText("name") && entry.contains("ip") &&
           (entry["ip"].is_null() || (entry["ip"].is_string() && parseIPv4(entry["ip"]))) && entry.contains("seen") &&
           entry["seen"].is_number_integer() && entry.contains("networks") && entry["networks"].is_array() &&
           std::all_of(entry["networks"].begin(), entry["networks"].end(),
                       [](const Record &network) { return network.is_string(); });
}

void forgetOld(std::vector<Record> &devices)
{
    const std::int64_t oldest = std::time(nullptr) - longestAbsence;
    std::erase_if(devices, [oldest](const Record &device) { return device["seen"].get<std::int64_t>() < oldest; });
    if (devices.size() <= mostDevices)
        return;
    std::stable_sort(devices.begin(), devices.end(),
                     [](const Record &a, const Record &b) { return a["seen"] > b["seen"]; });
    devices.resize(mostDevices);
}

bool writeWhole(const std::string &path, const std::string &text)
{
    const std::string fresh = path + ".new";
    std::ofstream file(fresh, std::ios::trunc);
    file << text;
    file.close();
    return file && std::rename(fresh.c_str(), path.c_str()) == 0;
}

} // namespace

std::vector<std::string> networkNames(const Interface &interface)
{
    std::vector<std::string> names;
    for (const Subnet &subnet : interface.subnets)
        names.push_back(interface.name + " " + subnet.network());
    return names.empty() ? std::vector{interface.name} : names;
}

DeviceCache::DeviceCache(const Options &options, const Log &log)
    : DeviceCache(options.noCache ? "" : defaultFolder(), log)
{
}

std::vector<Record> DeviceCache::devices() const
{
    std::vector<Record> devices;
    std::ifstream file(m_folder + "/devices.json");
    if (m_folder.empty() || !file)
        return devices;
    const Record content = Record::parse(file, nullptr, false);
    const Record list = content.is_object() ? content.value("devices", Record()) : Record();
    if (!list.is_array() || content.value("schema", Record()) != cacheSchema) {
        m_log(m_folder + "/devices.json is damaged, or of another version: taken as empty");
        return devices;
    }
    std::copy_if(list.begin(), list.end(), std::back_inserter(devices), isDevice);
    return devices;
}

std::vector<Record> DeviceCache::devicesOn(const std::vector<Interface> &interfaces) const
{
    std::set<Record> here;
    for (const Interface &interface : interfaces)
        for (const std::string &name : networkNames(interface))
            here.insert(name);
    std::vector<Record> known = devices();
    std::erase_if(known, [&here](const Record &device) {
        return std::none_of(device["networks"].begin(), device["networks"].end(),
                            [&here](const Record &network) { return here.contains(network); });
    });
    return known;
}

void DeviceCache::remember(const std::vector<Record> &found, const std::vector<Interface> &interfaces) const
{
    const auto merge = [&](std::vector<Record> &known) {
        for (const Record &device : found) {
            auto entry = std::find_if(known.begin(), known.end(),
                                      [&device](const Record &one) { return one["mac"] == device["mac"]; });
            if (entry == known.end())
                entry = known.insert(known.end(), Record::object());
            for (const char *pName : {"mac", "ip", "name", "model", "version"})
                if (device.contains(pName)) // a neighbour record has no model
                    (*entry)[pName] = device[pName];
            (*entry)["seen"] = std::time(nullptr);
            (*entry)["networks"] = Record::array();
            for (const Interface &interface : interfaces)
                if (std::count(device["interfaces"].begin(), device["interfaces"].end(), interface.name))
                    for (const std::string &name : networkNames(interface))
                        (*entry)["networks"].push_back(name);
        }
        forgetOld(known);
    };
    if (!m_folder.empty() && !found.empty() && !update(merge))
        m_log("the devices found could not be remembered in " + m_folder + ": " + strerror(errno));
}

std::vector<Record> DeviceCache::forget(const std::function<bool(const Record &)> &unwanted) const
{
    std::vector<Record> gone;
    const auto drop = [&](std::vector<Record> &known) {
        std::copy_if(known.begin(), known.end(), std::back_inserter(gone), unwanted);
        std::erase_if(known, unwanted);
    };
    if (!m_folder.empty() && !update(drop))
        throw Failure(ExitCode::failure,
                      {"cache_unwritable", m_folder + "/devices.json cannot be written: " + strerror(errno), ""});
    return gone;
}

bool DeviceCache::update(const std::function<void(std::vector<Record> &)> &change) const
{
    std::error_code error;
    std::filesystem::create_directories(m_folder, error); // what is wrong shows at the next step
    const FileDescriptor lock(open((m_folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (lock.get() < 0 || flock(lock.get(), LOCK_EX) != 0)
        return false;
    std::vector<Record> known = devices();
    change(known);
    const Record content{{"schema", cacheSchema}, {"devices", known}};
    return writeWhole(m_folder + "/devices.json", content.dump(1, ' ', true, Record::error_handler_t::replace) + "\n");
}

} // namespace vxpctl
