// SPDX-License-Identifier: Apache-2.0
#include "sys/settings.h"

#include "lib/numbers.h"
#include "sys/lsqldb.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>

namespace
{

struct Switch {
    char str[32] = "";

    bool isUp() const { return strcmp(str, "up") == 0; }
    bool isDown() const { return strcmp(str, "down") == 0; }
};

Switch readSwitch(const char *strField)
{
    Switch result;
    LSQLdbGetStr("management", strField, result.str);
    return result;
}

Switch autoConfig()
{
    return readSwitch("ipv6-autoconfig-status");
}

// Convert the address up to the first of strEnds; an unreadable one gives 16 zero bytes.
int parseIP6(char *strText, const char *strEnds, std::span<uint8_t> out)
{
    if (!strText[0])
        return -1;
    strText[strcspn(strText, strEnds)] = '\0';
    uint8_t ucAddress[16] = {};
    inet_pton(AF_INET6, strText, ucAddress);
    memcpy(out.data(), ucAddress, out.size() < sizeof ucAddress ? out.size() : sizeof ucAddress);
    return 0;
}

struct IP6_Text {
    char str[INET6_ADDRSTRLEN];

    explicit IP6_Text(IP6_Octets in) { inet_ntop(AF_INET6, in.data(), str, sizeof str); }
    bool isUnspecified() const { return strcmp(str, "::") == 0; }
};

} // namespace

int sysGetIP6_Mode(int)
{
    return autoConfig().isUp() ? 1 : 2;
}

int sysSetIP6_Mode(int, int iMode)
{
    LSQLdbSetStr("management", "ipv6-autoconfig-status", iMode == 1 ? "up" : "down");
    return 0;
}

int sysGetIP6_Prefix(int)
{
    char strPrefix[32] = "";
    LSQLdbGetStr("management", "static-ipv6-prefix-length", strPrefix);
    return leadingInt(strPrefix) & 0xFF;
}

int sysSetIP6_Prefix(int, int iPrefix)
{
    if (!autoConfig().isDown())
        return -1;
    char strPrefix[16];
    snprintf(strPrefix, sizeof strPrefix, "%d", iPrefix & 0xFF);
    LSQLdbSetStr("management", "static-ipv6-prefix-length", strPrefix);
    return 0;
}

int sysGetIP6(int, std::span<uint8_t> out)
{
    if (!readSwitch("ipv6-status").isUp())
        return 0;
    // The automatic field may list several addresses; the first one counts.
    char strAddress[INET6_ADDRSTRLEN] = "";
    LSQLdbGetStr("management", autoConfig().isUp() ? "autoconfig-ipv6-global-all" : "static-ipv6", strAddress);
    return parseIP6(strAddress, " \n", out);
}

int sysSetIP6(int, IP6_Octets in)
{
    if (!autoConfig().isDown())
        return -1;
    const IP6_Text text(in);
    if (text.isUnspecified())
        return -1;
    LSQLdbSetStr("management", "static-ipv6", text.str);
    return 0;
}

int sysGetDefaultGateway6(int, std::span<uint8_t> out)
{
    if (!readSwitch("ipv6-status").isUp())
        return 0;
    char strAddress[INET6_ADDRSTRLEN] = "";
    if (autoConfig().isUp())
        LSQLdbGetStr("management", "ipv6-default-gateway", strAddress);
    else
        LSQLdbGetStr("static-ipv6-route", "gateway", strAddress);
    return parseIP6(strAddress, "", out);
}

int sysSetDefaultGateway6(int, IP6_Octets in)
{
    const Switch automatic = autoConfig();
    printf("sAutoConfig = %s\n", automatic.str);
    if (!automatic.isDown())
        return -1;
    const IP6_Text text(in);
    printf("strAddr = %s\n", text.str);
    LSQLdbSetStr("static-ipv6-route", "gateway", text.isUnspecified() ? "" : text.str);
    return 0;
}

int sysGetPrimaryDNS6(int, std::span<uint8_t>)
{
    return 0;
}

int sysGetSecondaryDNS6(int, std::span<uint8_t>)
{
    return 0;
}
