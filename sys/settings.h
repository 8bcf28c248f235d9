// SPDX-License-Identifier: Apache-2.0
//
// The device's management network, identity and clock.
//
// An interface index of 0 means the one management interface; other indexes read and write nothing. Getters read the
// current values, which the device's network service maintains; setters write the configured static ones, which are
// other fields, so a written value comes back only once the device has applied it. The mask is read from
// ("management","mask") and written to ("static-ip-route","mask"): that pairing is meant.
//
// Results are 0 for success unless stated. Texts are cut to fit out. On/off settings are stored as exactly "up" and
// "down"; an empty or other text is off to a reader. Output arrays hold 4 bytes (IPv4), 16 (IPv6) or 6 (MAC).
#ifndef VXP_SYS_SETTINGS_H
#define VXP_SYS_SETTINGS_H

#include <cstdint>
#include <span>

using IP_Octets = std::span<const uint8_t, 4>;
using IP6_Octets = std::span<const uint8_t, 16>;

// IPv4. sysGetIP clears out first and takes an empty field for success; the other getters leave out alone and return
// -1. Setters with an index write for index 0 and return the store's result; else they return the index.
int sysGetIP(int iIndex, std::span<uint8_t> out);
int sysGetSubnetMask(int iIndex, std::span<uint8_t> out);
int sysGetDefaultGateway(int iIndex, std::span<uint8_t> out);
int sysGetPrimaryDNS(std::span<uint8_t> out);
int sysGetSecondaryDNS(std::span<uint8_t> out);
int sysSetIP(int iIndex, IP_Octets in);
int sysSetSubnetMask(int iIndex, IP_Octets in);
int sysSetDefaultGateway(int iIndex, IP_Octets in);
int sysSetPrimaryDNS(IP_Octets in);   // always 0
int sysSetSecondaryDNS(IP_Octets in); // always 0

// DHCP and DNS modes.
int sysGetDNS_Setting();            // 0 = DNS servers come from DHCP, 1 = static
int sysSetDNS_Setting(int iMode);   // 0 or 1 as above; another mode writes nothing; always 0
int sysGetDHCP_Setting(int iIndex); // 1 = on, -1 = off (not 0)
void sysSetDHCP_Setting(int iIndex, int iEnable);
int sysGetDHCP_State(int iIndex); // 1 = the current address is a link-local fallback (169.254.x.y), else 0

// IPv6. Indexes are ignored. The value setters return -1 and write nothing unless the mode is exactly manual
// ("down"): switch it with sysSetIP6_Mode(iIndex, 2) first. The getters return 0 and leave out alone while IPv6 is
// not up, and -1 when the field is empty.
int sysGetIP6_Mode(int iIndex);            // 1 = automatic, 2 = manual
int sysSetIP6_Mode(int iIndex, int iMode); // 1 = automatic, anything else = manual; always 0
int sysGetIP6_Prefix(int iIndex);          // 0..255, the static setting also in automatic mode
int sysSetIP6_Prefix(int iIndex, int iPrefix);
int sysGetIP6(int iIndex, std::span<uint8_t> out);
int sysSetIP6(int iIndex, IP6_Octets in); // refuses "::" with -1
int sysGetDefaultGateway6(int iIndex, std::span<uint8_t> out);
int sysSetDefaultGateway6(int iIndex, IP6_Octets in);        // "::" clears the static gateway, unlike sysSetIP6
int sysGetPrimaryDNS6(int iIndex, std::span<uint8_t> out);   // writes nothing: not reported
int sysGetSecondaryDNS6(int iIndex, std::span<uint8_t> out); // writes nothing: not reported

// Names and interfaces.
int sysGetSystemName(std::span<char> out);
int sysSetSystemName(const char *strName); // always 0
int sysGetModelName(std::span<char> out);
int sysGetVersion(std::span<char> out);
int sysGetMAC(int iIndex, std::span<uint8_t> out);        // clears out; -1 when the field is empty
int sysGetInterfaceName(int iIndex, std::span<char> out); // -1 when there is none
int sysGetInterfaceCount();
int sysGetInterfaceAlias(int iIndex, std::span<char> out);

// Fixed values of this product; no store field stands behind them.
int sysGetBrandName(std::span<char> out);
int sysGetHardwareVersion(std::span<char> out);
int sysGetProductCategory(std::span<char> out);
int sysGetProductName(std::span<char> out);
int sysGetSerialNumber(std::span<char> out);
int sysGetHardwareSpec(std::span<char> out);
int sysGetProductType();
int sysGetWebPort();
int sysGetDaylightSaving();
int sysGetAlert(std::span<uint8_t> out); // writes nothing
int sysGetDDNS_ProviderIndex();
int sysSetDDNS_ProviderIndex();                   // stores nothing
int sysGetDDNS_ProviderList(std::span<char> out); // clears out; the list's length, 0

// Current local time as 14 digits, YYYYMMDDhhmmss, as "date" prints it; -1 when date prints nothing. A text that does
// not fit in out fails an assertion.
int sysGetDatetime(std::span<char> out);

#endif
