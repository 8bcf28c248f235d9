// SPDX-License-Identifier: Apache-2.0
#include "sys/settings.h"

#include "lib/debug.h"
#include "lib/numbers.h"
#include "sys/lsqldb.h"

#include <cstdio>
#include <cstring>

namespace
{

struct IP_Text {
    char str[32] = "";
};

IP_Text readIP_Text(const char *strObject, const char *strField)
{
    IP_Text text;
    LSQLdbGetStr(strObject, strField, text.str);
    return text;
}

// -1 and out as it was when the text is empty.
int parseIP(const IP_Text &text, std::span<uint8_t> out)
{
    if (!text.str[0])
        return -1;
    scanOctets(text.str, '.', 10, sizeof text.str, out.first(4));
    return 0;
}

int writeIP(const char *strObject, const char *strField, IP_Octets in)
{
    char strText[16];
    snprintf(strText, sizeof strText, "%u.%u.%u.%u", in[0], in[1], in[2], in[3]);
    return LSQLdbSetStr(strObject, strField, strText);
}

bool isSwitchedUp(const char *strObject, const char *strField)
{
    char strSwitch[32] = "";
    LSQLdbGetStr(strObject, strField, strSwitch);
    return strcmp(strSwitch, "up") == 0;
}

} // namespace

int sysGetIP(int iIndex, std::span<uint8_t> out)
{
    memset(out.data(), 0, out.size());
    if (iIndex != 0)
        return -1;
    parseIP(readIP_Text("management", "ip"), out);
    return 0;
}

int sysGetSubnetMask(int iIndex, std::span<uint8_t> out)
{
    return iIndex == 0 ? parseIP(readIP_Text("management", "mask"), out) : -1;
}

int sysGetDefaultGateway(int iIndex, std::span<uint8_t> out)
{
    return iIndex == 0 ? parseIP(readIP_Text("ip-route", "gateway"), out) : -1;
}

int sysGetPrimaryDNS(std::span<uint8_t> out)
{
    return parseIP(readIP_Text("host", sysGetDNS_Setting() == 1 ? "static-dns-1" : "dns-1"), out);
}

int sysGetSecondaryDNS(std::span<uint8_t> out)
{
    const IP_Text text = readIP_Text("host", sysGetDNS_Setting() == 1 ? "static-dns-2" : "dns-2");
    sysDebug("DNS2=%s\n", text.str);
    return parseIP(text, out);
}

int sysSetIP(int iIndex, IP_Octets in)
{
    return iIndex == 0 ? writeIP("management", "static-ip", in) : iIndex;
}

int sysSetSubnetMask(int iIndex, IP_Octets in)
{
    return iIndex == 0 ? writeIP("static-ip-route", "mask", in) : iIndex;
}

int sysSetDefaultGateway(int iIndex, IP_Octets in)
{
    return iIndex == 0 ? writeIP("static-ip-route", "gateway", in) : iIndex;
}

int sysSetPrimaryDNS(IP_Octets in)
{
    writeIP("host", "static-dns-1", in);
    return 0;
}

int sysSetSecondaryDNS(IP_Octets in)
{
    writeIP("host", "static-dns-2", in);
    return 0;
}

int sysGetDNS_Setting()
{
    return isSwitchedUp("host", "dns-via-dhcp") ? 0 : 1;
}

int sysSetDNS_Setting(int iMode)
{
    if (iMode == 0)
        LSQLdbSetStr("host", "dns-via-dhcp", "up");
    else if (iMode == 1)
        LSQLdbSetStr("host", "dns-via-dhcp", "down");
    return 0;
}

int sysGetDHCP_Setting(int iIndex)
{
    return iIndex == 0 && isSwitchedUp("management", "dhcp-status") ? 1 : -1;
}

void sysSetDHCP_Setting(int iIndex, int iEnable)
{
    if (iIndex == 0)
        LSQLdbSetStr("management", "dhcp-status", iEnable ? "up" : "down");
}

int sysGetDHCP_State(int iIndex)
{
    if (sysGetDHCP_Setting(iIndex) == 0) // never: the setting is 1 or -1
        return 2;
    uint8_t ucIP[4];
    sysGetIP(iIndex, ucIP);
    return ucIP[0] == 169 && ucIP[1] == 254 ? 1 : 0;
}
