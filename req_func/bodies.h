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

// Set basic information (0x00A2).
struct SetBasicInfoRequest {
    char strSystemName[64]; //   0
    uint8_t ucIP[4];        //  64
    Le16 uWebPort;          //  68  0 or 80
    uint8_t ucUnused70;     //  70
    uint8_t ucManualDNS;    //  71  0 = DNS servers come from DHCP, else the two below are set
    uint8_t ucMask[4];      //  72
    uint8_t ucGateway[4];   //  76
    uint8_t ucDNS1[4];      //  80
    uint8_t ucDNS2[4];      //  84
    uint8_t ucDHCP;         //  88  0 = static address
    uint8_t ucIP6[16];      //  89
    uint8_t ucPrefix6;      // 105
    uint8_t ucGateway6[16]; // 106
    uint8_t ucDNS6_1[16];   // 122  not used
    uint8_t ucDNS6_2[16];   // 138  not used
    uint8_t uDHCP_Setting6; // 154  0 = manual IPv6, else automatic
};
static_assert(sizeof(SetBasicInfoRequest) == 155);
static_assert(offsetof(SetBasicInfoRequest, ucDHCP) == 88 && offsetof(SetBasicInfoRequest, ucGateway6) == 106);

// Change administrator (0x00A4). Base64 text, without NUL when it fills its field.
struct ChangeAdminRequest {
    char strUser[64];     //   0
    char strPassword[64]; //  64
};
static_assert(sizeof(ChangeAdminRequest) == 128);

// Get (0x00AC, the reply) and set (0x00AD, the request) date and time.
struct DateTimeBody {
    char strDateTime[16];     //   0  local time, YYYYMMDDhhmmss
    uint8_t ucTimeZone;       //  16  time-zone code
    uint8_t ucZero17;         //  17  always 0
    uint8_t ucDaylightSaving; //  18
    uint8_t ucNTP;            //  19  network time: 0 = off
    char strNTP_Server[64];   //  20
    uint8_t ucReserved[16];   //  84
};
static_assert(sizeof(DateTimeBody) == 100);

// Get (0x00A6, the reply) and set (0x00A7, the request, which ends before ucProviderListLen) dynamic DNS.
struct NetAdvancedBody {
    uint8_t ucReserved[129];   //   0
    uint8_t ucFlags;           // 129  DDNS_BIT: enabled
    uint8_t ucStatus;          // 130  DDNS_BIT: connected
    uint8_t ucProvider;        // 131  index into the provider list; DDNS_UNCHANGED in a set request
    char strUser[64];          // 132
    char strPassword[64];      // 196
    char strDomain[64];        // 260
    uint8_t ucProviderListLen; // 324  characters of the list
    char strProviderList[200]; // 325
};
static_assert(sizeof(NetAdvancedBody) == 525);
static_assert(offsetof(NetAdvancedBody, strUser) == 132 && offsetof(NetAdvancedBody, ucProviderListLen) == 324);
constexpr uint8_t DDNS_BIT = 0x02;
constexpr uint8_t DDNS_UNCHANGED = 255;

// One virtual access point of the two multi-SSID operations. Numbers are decimal text.
struct VAP_Entry {
    char strSSID[32];    //  0
    char strVLAN[4];     // 32  VLAN id
    char strSecurity[4]; // 36  security setting, 0 to 6
    char strKey[16];     // 40  a longer key runs on into the next entry
};
static_assert(sizeof(VAP_Entry) == 56);
constexpr size_t VAP_COUNT = 8;

// Set multi-SSID (0x00D1).
struct MultiSSID_Request {
    uint8_t ucBand;               // 0  ignored
    uint8_t ucReserved;           // 1  ignored
    VAP_Entry entries[VAP_COUNT]; // 2
};
static_assert(sizeof(MultiSSID_Request) == 450);

// Reply to set (0x00D1: all zero) and get (0x00D8) multi-SSID.
struct MultiSSID_Reply {
    uint8_t ucZero[2];            // 0  always 0
    uint8_t ucBand;               // 2  always 0
    VAP_Entry entries[VAP_COUNT]; // 3  only the keys are filled
};
static_assert(sizeof(MultiSSID_Reply) == 451);

// VLAN configuration (0x00D2). Requests that set an option are refused.
struct VLAN_Request {
    char strLeading[32]; //   0  not used
    Le32 uVLAN;          //  32  VLAN identifier
    uint8_t ucOption1;   //  36  must be 0
    char strOption1[64]; //  37  must be empty
    uint8_t ucOption2;   // 101  must be 0
    char strOption2[64]; // 102  must be empty
};
static_assert(sizeof(VLAN_Request) == 166);

// SNMP configuration (0x00D4).
struct SNMP_Request {
    uint8_t ucState;       //  0  0 = off, else on
    char strReadOnly[32];  //  1  read-only community
    char strReadWrite[32]; // 33  read-write community
};
static_assert(sizeof(SNMP_Request) == 65);

// Head of the request of firmware upgrade (0x0100), configuration backup (0x0101) and restore (0x0102). The rest is
// there in a start only: the server's address and the file's name.
struct TransferHead {
    uint8_t ucSubService;  // 0  SST_...
    uint8_t ucServerType;  // 1  SERVER_...
    uint8_t ucAddressType; // 2  ADDRESS_...
};
static_assert(sizeof(TransferHead) == 3);

struct TransferStart4 {
    TransferHead head; //   0
    uint8_t ucIP[4];   //   3
    char strFile[128]; //   7
};
static_assert(sizeof(TransferStart4) == 135);

struct TransferStart6 {
    TransferHead head; //   0
    uint8_t ucIP6[16]; //   3
    char strFile[128]; //  19
};
static_assert(sizeof(TransferStart6) == 147);

struct TransferReply {
    uint8_t ucSubService; //   0  the request's, also when it is invalid
    uint8_t ucResult;     //   1  1 = refused or failed; the other codes are the operation's own
    char strMessage[128]; //   2  why a request is refused; may fill the field
};
static_assert(sizeof(TransferReply) == 130);

enum : uint8_t { SST_START = 1, SST_QUERY = 2 };       // ucSubService
enum : uint8_t { SERVER_TFTP = 1, SERVER_HTTP = 2 };   // ucServerType
enum : uint8_t { ADDRESS_IPV4 = 1, ADDRESS_IPV6 = 2 }; // ucAddressType

#endif
