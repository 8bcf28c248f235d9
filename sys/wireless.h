// SPDX-License-Identifier: Apache-2.0
//
// The virtual access points (VAPs) of the two radios. VAP 0 is a radio's primary network. All accessors return 0;
// getters leave out as it was when the store has no value.
#ifndef VXP_SYS_WIRELESS_H
#define VXP_SYS_WIRELESS_H

#include <cstdint>
#include <span>

// Bands. The security accessors take every other value for the 5 GHz radio; the others then do nothing.
enum {
    BAND_2G = 0,    // radio "wlan1"
    BAND_5G = 1,    // radio "wlan0"
    BAND_OTHER = 2, // no radio
};

int sysGetSSID(std::span<char> out, int iVAP, int iBand);
int sysSetSSID(const char *strSSID, int iVAP, int iBand); // an empty SSID is not written

// The key of the field that the network's security mode selects: the pass phrase, or the default WEP key.
int sysGetSecurityPWD(std::span<char> out, int iVAP, int iBand);
int sysSetSecurityPWD(const char *strKey, int iVAP, int iBand); // an empty key is written

// Security setting, decimal text: 1 static WEP; 2 WPA and 4 WPA2 personal; 3 WPA and 5 WPA2 enterprise; 6 none; any
// other changes nothing. The getter reads the store and reports nothing: out is never written.
int sysGetSecuritySetting(std::span<char> out, int iVAP, int iBand);
int sysSetSecuritySetting(const char *strSetting, int iVAP, int iBand);

// The band that the radio's mode belongs to, when it is iBand.
int sysGetBandSetting(uint8_t *pucBand, int iBand);
int sysSetBandSetting(int iBand); // switches the band's radio on; the other one stays as it is

int sysGetVLANID(std::span<char> out, int iVAP, int iBand);
int sysSetVLANID(const char *strVLAN, int iVAP, int iBand); // an empty id is not written

#endif
