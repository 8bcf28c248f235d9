// SPDX-License-Identifier: Apache-2.0
#include "sys/wireless.h"

#include "lib/numbers.h"
#include "sys/lsqldb.h"

#include <cstdio>
#include <cstring>

namespace
{

bool isRadio(int iBand)
{
    return iBand == BAND_2G || iBand == BAND_5G;
}

int radioNumber(int iBand)
{
    return iBand == BAND_2G ? 1 : 0;
}

const char *radioName(int iBand)
{
    return iBand == BAND_2G ? "wlan1" : "wlan0";
}

// Instance names, cut to what the store's longest ones take.
struct InterfaceName {
    char str[10]; // "wlan0", "wlan1vap7"

    InterfaceName(int iVAP, int iBand)
    {
        if (iVAP == 0)
            snprintf(str, sizeof str, "wlan%d", radioNumber(iBand));
        else
            snprintf(str, sizeof str, "wlan%dvap%d", radioNumber(iBand), iVAP);
    }
};

struct BSS_Name {
    char str[16]; // "wlan0bssvap0", for VAP 0 too

    BSS_Name(int iVAP, int iBand) { snprintf(str, sizeof str, "wlan%dbssvap%d", radioNumber(iBand), iVAP); }
};

struct VAP_Name {
    char str[10]; // "vap0"

    explicit VAP_Name(int iVAP) { snprintf(str, sizeof str, "vap%d", iVAP); }
};

struct SecurityMode {
    char str[16] = "";

    explicit SecurityMode(const InterfaceName &interface)
    {
        LSQLdbGetInstanceStr("interface", interface.str, "security", str);
    }
    bool is(const char *strMode) const { return strcmp(str, strMode) == 0; }
};

// The name of the field that holds the network's key; empty when its security mode has none.
struct KeyField {
    char str[48] = "";

    explicit KeyField(const InterfaceName &interface)
    {
        const SecurityMode mode(interface);
        if (mode.is("wpa-personal")) {
            snprintf(str, sizeof str, "wpa-personal-key");
        } else if (mode.is("static-wep")) {
            char strDefault[32] = "";
            LSQLdbGetInstanceStr("interface", interface.str, "wep-default-key", strDefault);
            snprintf(str, sizeof str, "wep-key-%s", strDefault);
        }
    }
};

struct SecuritySetting {
    const char *strMode; // null: nothing changes
    const char *strWPA;  // null: stays
    const char *strWPA2;
};

constexpr SecuritySetting SETTINGS[] = {
    {nullptr, nullptr, nullptr},      // 0
    {"static-wep", nullptr, nullptr}, // 1
    {"wpa-personal", "on", "off"},    // 2
    {"wpa-enterprise", "on", "off"},  // 3
    {"wpa-personal", "off", "on"},    // 4
    {"wpa-enterprise", "off", "on"},  // 5
    {"plain-text", nullptr, nullptr}, // 6
};

bool isOneOf(const char *strMode, std::span<const char *const> modes)
{
    for (const char *strCandidate : modes)
        if (strcmp(strMode, strCandidate) == 0)
            return true;
    return false;
}

} // namespace

int sysGetSSID(std::span<char> out, int iVAP, int iBand)
{
    if (isRadio(iBand))
        LSQLdbGetInstanceStr("interface", InterfaceName(iVAP, iBand).str, "ssid", out);
    return 0;
}

int sysSetSSID(const char *strSSID, int iVAP, int iBand)
{
    if (strSSID[0] && isRadio(iBand))
        LSQLdbSetInstanceStr("interface", InterfaceName(iVAP, iBand).str, "ssid", strSSID);
    return 0;
}

int sysGetSecurityPWD(std::span<char> out, int iVAP, int iBand)
{
    const InterfaceName interface(iVAP, iBand);
    const KeyField field(interface);
    if (field.str[0])
        LSQLdbGetInstanceStr("interface", interface.str, field.str, out);
    return 0;
}

int sysSetSecurityPWD(const char *strKey, int iVAP, int iBand)
{
    const InterfaceName interface(iVAP, iBand);
    const KeyField field(interface);
    if (field.str[0])
        LSQLdbSetInstanceStr("interface", interface.str, field.str, strKey);
    return 0;
}

int sysGetSecuritySetting(std::span<char>, int iVAP, int iBand)
{
    const SecurityMode mode(InterfaceName(iVAP, iBand));
    if (!mode.is("wpa-personal") && !mode.is("wpa-enterprise"))
        return 0;
    char strAllowed[16] = "";
    const BSS_Name bss(iVAP, iBand);
    LSQLdbGetInstanceStr("bss", bss.str, "wpa-allowed", strAllowed);
    LSQLdbGetInstanceStr("bss", bss.str, "wpa2-allowed", strAllowed);
    return 0;
}

int sysSetSecuritySetting(const char *strSetting, int iVAP, int iBand)
{
    const int iSetting = leadingInt(strSetting);
    if (iSetting < 0 || iSetting >= static_cast<int>(std::size(SETTINGS)) || !SETTINGS[iSetting].strMode)
        return 0;
    const SecuritySetting &setting = SETTINGS[iSetting];
    LSQLdbSetInstanceStr("interface", InterfaceName(iVAP, iBand).str, "security", setting.strMode);
    if (!setting.strWPA)
        return 0;
    const BSS_Name bss(iVAP, iBand);
    LSQLdbSetInstanceStr("bss", bss.str, "wpa-allowed", setting.strWPA);
    LSQLdbSetInstanceStr("bss", bss.str, "wpa2-allowed", setting.strWPA2);
    return 0;
}

int sysGetBandSetting(uint8_t *pucBand, int iBand)
{
    static constexpr const char *MODES_2G[] = {"bg", "bg-n", "n-only-g"};
    static constexpr const char *MODES_5G[] = {"a", "a-n", "n-only-a"};
    if (!isRadio(iBand))
        return 0;
    char strMode[10] = "";
    LSQLdbGetInstanceStr("radio", radioName(iBand), "mode", strMode);
    if (isOneOf(strMode, iBand == BAND_2G ? MODES_2G : MODES_5G))
        *pucBand = static_cast<uint8_t>(iBand);
    return 0;
}

int sysSetBandSetting(int iBand)
{
    if (isRadio(iBand))
        LSQLdbSetInstanceStr("radio", radioName(iBand), "status", "up");
    return 0;
}

int sysGetVLANID(std::span<char> out, int iVAP, int iBand)
{
    if (isRadio(iBand))
        LSQLdbGetInstanceStrQ1("vap", VAP_Name(iVAP).str, "vlan-id", "radio", radioName(iBand), out);
    return 0;
}

int sysSetVLANID(const char *strVLAN, int iVAP, int iBand)
{
    if (strVLAN[0] && isRadio(iBand))
        LSQLdbSetInstanceStrQ1("vap", VAP_Name(iVAP).str, "vlan-id", "radio", radioName(iBand), strVLAN);
    return 0;
}
