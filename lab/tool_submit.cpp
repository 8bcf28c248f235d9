// SPDX-License-Identifier: Apache-2.0
//
// submit, the configuration service's command line, and dhcp-event, which udhcpc starts when its lease changes.
#include "lab/network.h"
#include "lab/settings.h"
#include "lab/tool.h"

#include <crypt.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <sys/random.h>

namespace lab
{

namespace
{

// "$1$", MD5: 34 characters. The daemon refuses stored hashes of more than 63, which all newer methods make.
std::string hashed(const std::string &password)
{
    constexpr char ALPHABET[] = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    unsigned char random[8];
    if (getrandom(random, sizeof random, 0) != sizeof random)
        throw std::runtime_error("no random numbers to be had");
    std::string setting = "$1$";
    for (const unsigned char byte : random)
        setting += ALPHABET[byte & 63];
    crypt_data work = {};
    const char *const hash = crypt_r(password.c_str(), setting.c_str(), &work);
    if (!hash || strncmp(hash, setting.c_str(), setting.size()) != 0)
        throw std::runtime_error("this libcrypt makes no $1$ hashes");
    return hash;
}

void setPassword(const std::string &user, const std::string &password)
{
    if (const std::string administrator = readSetting("system", "username"); user != administrator)
        throw std::runtime_error("the administrator is \"" + administrator + "\", not \"" + user + "\"");
    writeSettings({{named("system", "encrypted-password"), hashed(unquoted(password))}});
}

std::string variable(const char *name)
{
    const char *const value = getenv(name);
    return value ? value : "";
}

// An address that no DHCP server gave, from 169.254.0.0/16: the MAC's last two octets, so that it stays the same.
std::string fallbackAddress()
{
    unsigned octets[6] = {};
    sscanf(readSetting("management", "mac").c_str(), "%x:%x:%x:%x:%x:%x", &octets[0], &octets[1], &octets[2],
           &octets[3], &octets[4], &octets[5]);
    return "169.254." + std::to_string(octets[4] % 254 + 1) + "." + std::to_string(octets[5] % 254 + 1);
}

Settings lease()
{
    std::istringstream routers(variable("router")), servers(variable("dns"));
    std::string gateway, dns1, dns2;
    routers >> gateway;
    servers >> dns1 >> dns2;
    return {{named("dhcp-lease", "ip"), variable("ip")},
            {named("dhcp-lease", "mask"), variable("subnet")},
            {named("dhcp-lease", "gateway"), gateway},
            {named("dhcp-lease", "dns-1"), dns1},
            {named("dhcp-lease", "dns-2"), dns2}};
}

} // namespace

std::string unquoted(const std::string &text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\\' && i + 1 < text.size() && strchr("$\"`\\", text[i + 1]))
            i++;
        plain += text[i];
    }
    return plain;
}

void submit(const Arguments &arguments)
{
    const std::string &command = arguments[0];
    if (command == "SET_PASSWD" && arguments.size() == 3)
        setPassword(arguments[1], arguments[2]);
    else if (command == "SET_IPADDRESS" && arguments.size() == 1)
        writeSettings({{named("network", "apply"), "yes"}});
    else if (command == "COMMIT" && arguments.size() == 1)
        writeSettings({{named("config", "startup"), "running"}});
    else if (command == "SHUTDOWN" && arguments.size() == 1)
        writeSettings({{named("system", "shutdown"), "yes"}});
    else
        throw UsageError("");
}

// The device manager sees the change, and brings the interface to it.
void dhcpEvent(const Arguments &arguments)
{
    const std::string &event = arguments[0];
    if (event == "bound" || event == "renew") {
        updateSettings(lease());
    } else if (event == "deconfig") {
        updateSettings(noLease());
    } else if (event == "leasefail") {
        Settings fallback = noLease();
        fallback[named("dhcp-lease", "ip")] = fallbackAddress();
        fallback[named("dhcp-lease", "mask")] = "255.255.0.0";
        updateSettings(fallback);
    }
}

} // namespace lab
