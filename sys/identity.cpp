// SPDX-License-Identifier: Apache-2.0
#include "sys/settings.h"

#include "lib/numbers.h"
#include "lib/strings.h"
#include "sys/lsqldb.h"

#include <cstring>

namespace
{

int readSystemText(const char *strField, std::span<char> out)
{
    LSQLdbGetStr("system", strField, out);
    return 0;
}

int fixedText(std::span<char> out, const char *strText)
{
    copyText(out, strText);
    return 0;
}

} // namespace

int sysGetSystemName(std::span<char> out)
{
    return readSystemText("system-name", out);
}

int sysSetSystemName(const char *strName)
{
    LSQLdbSetStr("system", "system-name", strName);
    return 0;
}

int sysGetModelName(std::span<char> out)
{
    return readSystemText("model", out);
}

int sysGetVersion(std::span<char> out)
{
    return readSystemText("version", out);
}

int sysGetMAC(int iIndex, std::span<uint8_t> out)
{
    memset(out.data(), 0, out.size());
    if (iIndex != 0)
        return -1;
    char strMAC[32] = "";
    LSQLdbGetStr("management", "mac", strMAC);
    if (!strMAC[0])
        return -1;
    scanOctets(strMAC, ':', 16, 2, out.first(6));
    return 0;
}

int sysGetInterfaceName(int iIndex, std::span<char> out)
{
    out[0] = '\0';
    if (iIndex == 0)
        LSQLdbGetStr("management", "interface", out);
    return out[0] ? 0 : -1;
}

int sysGetInterfaceCount()
{
    return 1;
}

int sysGetInterfaceAlias(int iIndex, std::span<char> out)
{
    memset(out.data(), 0, out.size());
    return iIndex == 0 ? fixedText(out, "LAN1") : -1;
}

int sysGetBrandName(std::span<char> out)
{
    return fixedText(out, "Kestra AP");
}

int sysGetHardwareVersion(std::span<char> out)
{
    return fixedText(out, "A1");
}

int sysGetProductCategory(std::span<char> out)
{
    return fixedText(out, "AP");
}

int sysGetProductName(std::span<char> out)
{
    return fixedText(out, "WLAN-EAP");
}

int sysGetSerialNumber(std::span<char> out)
{
    return fixedText(out, "");
}

int sysGetHardwareSpec(std::span<char> out)
{
    return fixedText(out, "");
}

int sysGetProductType()
{
    return 2;
}

int sysGetWebPort()
{
    return 80;
}

int sysGetDaylightSaving()
{
    return 0;
}

int sysGetAlert(std::span<uint8_t>)
{
    return 0;
}

int sysGetDDNS_ProviderIndex()
{
    return 0;
}

int sysSetDDNS_ProviderIndex()
{
    return 0;
}

int sysGetDDNS_ProviderList(std::span<char> out)
{
    memset(out.data(), 0, out.size());
    return static_cast<int>(strnlen(out.data(), out.size()));
}
