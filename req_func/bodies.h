// SPDX-License-Identifier: Apache-2.0
//
// Every request and reply body of the management protocol, as it lies on the wire after the 22-byte header.
//
// Records are made of bytes and of little-endian fields, so they have no padding and may lie at any address. Text
// fields ("str...") hold NUL-terminated text; their width includes the NUL. IPv4 addresses are 4 bytes, IPv6
// addresses 16 bytes, MAC addresses 6 bytes, first octet first. Offsets in the margin count from the start of the
// body; the exact size of each record is asserted below it.
#ifndef VXP_REQ_FUNC_BODIES_H
#define VXP_REQ_FUNC_BODIES_H

#include "lib/byte_order.h"

#include <cstddef>
#include <cstdint>

// Head of the body of every request whose operation requires authentication; the operation's own body follows.
// Base64 text, without NUL when it fills its field.
struct Credentials {
    char strUser[64];     //   0  user name
    char strPassword[64]; //  64  password
};
static_assert(sizeof(Credentials) == 128);

// Announcement (0x00A0), sent at start and every 30 seconds of waiting.
struct AnnouncementBody {
    char strProduct[64];         //   0  product name
    char strCategory[32];        //  64  product category
    char strVersion[32];         //  96  firmware version
    uint8_t ucMAC[6];            // 128
    char strHardwareVersion[32]; // 134
    char strSerial[32];          // 166  serial number
    char strSystemName[64];      // 198
    uint8_t ucIP[4];             // 262
    uint8_t ucMask[4];           // 266
    char strAlias[8];            // 270  interface alias
    uint8_t ucIP6[16];           // 278
    uint8_t ucPrefix6;           // 294  IPv6 prefix length
};
static_assert(sizeof(AnnouncementBody) == 295);
static_assert(offsetof(AnnouncementBody, ucIP) == 262);

// Discovery reply (0x00A1). The three switches ucDNS_Mode, ucDHCP and ucAuto6 each have an encoding of their own.
struct DiscoverReply {
    char strBrand[64];           //   0
    char strProduct[64];         //  64  product name
    char strModel[32];           // 128
    char strVersion[32];         // 160  firmware version
    Le16 uProductType;           // 192
    Le32 uHardwareSpec;          // 194
    uint8_t ucMAC[6];            // 198
    char strSystemName[64];      // 204
    uint8_t ucIP[4];             // 268
    Le16 uWebPort;               // 272
    uint8_t ucZero274;           // 274  always 0
    uint8_t ucDNS_Mode;          // 275  0 = servers learnt by DHCP, 1 = static
    uint8_t ucMask[4];           // 276
    uint8_t ucGateway[4];        // 280
    uint8_t ucDNS1[4];           // 284
    uint8_t ucDNS2[4];           // 288
    uint8_t ucDHCP;              // 292  1 = on, 0xFF = off
    char strDateTime[16];        // 293  local time, YYYYMMDDhhmmss
    uint8_t ucZero309[2];        // 309  always 0
    uint8_t ucDaylightSaving;    // 311
    char strCategory[32];        // 312  product category
    char strHardwareVersion[32]; // 344
    char strSerial[32];          // 376  serial number
    char strAlias[8];            // 408  interface alias
    uint8_t ucIP6[16];           // 416
    uint8_t ucPrefix6;           // 432  IPv6 prefix length
    uint8_t ucGateway6[16];      // 433
    uint8_t ucDNS6_1[16];        // 449
    uint8_t ucDNS6_2[16];        // 465
    uint8_t ucAuto6;             // 481  IPv6 autoconfiguration: 1 = on, 0 = off
    uint8_t ucAlert;             // 482
};
static_assert(sizeof(DiscoverReply) == 483);
static_assert(offsetof(DiscoverReply, ucMAC) == 198 && offsetof(DiscoverReply, ucDHCP) == 292);
static_assert(offsetof(DiscoverReply, strCategory) == 312 && offsetof(DiscoverReply, ucIP6) == 416);

// User verification reply (0x00A3).
struct UserVerifyReply {
    Le32 uResult; // 0  1 = the administrator's name, 2 = another name
};
static_assert(sizeof(UserVerifyReply) == 4);

// Network-status reply (0x00C9). A device without the bridge interface answers without a body.
struct NetStatusReply {
    Le32 uDHCP_State;       //  0  1 = link-local fallback address, else 0
    uint8_t ucIP[4];        //  4  IPv4 address of the bridge interface
    uint8_t ucReserved[12]; //  8  always 0
};
static_assert(sizeof(NetStatusReply) == 20);

// Neighbour reply (0x00D0).
struct NeighborReply {
    uint8_t ucOne;          //   0  always 1
    char strProduct[64];    //   1  product name
    char strCategory[32];   //  65  product category
    char strVersion[32];    //  97  firmware version
    uint8_t ucMAC[6];       // 129
    char strSystemName[64]; // 135
    uint8_t ucIP[4];        // 199
    uint8_t ucMask[4];      // 203
    uint8_t ucIP6[16];      // 207
    char strAlias[8];       // 223  interface alias
};
static_assert(sizeof(NeighborReply) == 231);
static_assert(offsetof(NeighborReply, ucIP6) == 207);

// The supported-function reply (0x00A5) is a list of Le16 operation codes closed by a 0.

#endif
