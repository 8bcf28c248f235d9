// SPDX-License-Identifier: Apache-2.0
//
// The management protocol's message format: what every datagram begins with.
//
// A datagram is one header of 22 bytes and a body (req_func/bodies.h). All 16-bit and 32-bit fields are little-endian
// on the wire; MAC and IP addresses are byte strings in the order in which people write them and are never reordered.
//
// A tool broadcasts requests to 255.255.255.255 port 62976. A device broadcasts its replies to 255.255.255.255
// port 62992 on the interface on which the request came in, and its announcements to port 62976.
#ifndef VXP_DAEMON_MESSAGE_H
#define VXP_DAEMON_MESSAGE_H

#include "lib/byte_order.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

constexpr uint16_t VXP_REQUEST_PORT = 62976; // UDP port that devices listen on: requests and announcements
constexpr uint16_t VXP_REPLY_PORT = 62992;   // UDP port that tools listen on: replies

constexpr uint16_t VXP_VERSION = 2;          // uVersion of everything the daemon sends; not examined on receipt
constexpr size_t VXP_BUFFER_SIZE = 4096;     // receive and reply buffers, bytes; longer datagrams are cut there
constexpr size_t VXP_CREDENTIALS_SIZE = 128; // credentials block at the head of an authenticated request's body
constexpr int VXP_ANNOUNCE_INTERVAL = 30;    // seconds

// uID: the kind of message.
enum : uint16_t {
    VXP_ID_REQUEST = 0xFDFD,      // tool to device
    VXP_ID_REPLY = 0xFEEE,        // device to tool
    VXP_ID_ANNOUNCEMENT = 0xFFFF, // device to everyone, unsolicited
};

// uFlag of a request: the addressing mode. Devices ignore requests with any other value.
enum : uint16_t {
    VXP_TO_ALL = 0x0000, // ucMAC FF:FF:FF:FF:FF:FF and ucIP 0.0.0.0
    VXP_TO_ONE = 0x7777, // the device whose MAC and IPv4 address are ucMAC and ucIP
};

// uFlag of a reply: the outcome.
enum : uint16_t {
    VXP_HANDLED = 0,       // a body may follow
    VXP_AUTH_FAILED = 2,   // no body
    VXP_NOT_SUPPORTED = 3, // no body
};

// uOP_Code. "auth": the request's body begins with credentials.
enum : uint16_t {
    VXP_OP_ANNOUNCE = 0x00A0,
    VXP_OP_DISCOVER = 0x00A1,
    VXP_OP_SET_BASIC_INFO = 0x00A2,           // auth
    VXP_OP_USER_VERIFY = 0x00A3,              // auth
    VXP_OP_CHANGE_ADMIN = 0x00A4,             // auth
    VXP_OP_QUERY_SUPPORTED = 0x00A5,          // auth
    VXP_OP_GET_NET_ADVANCED = 0x00A6,         // auth
    VXP_OP_SET_NET_ADVANCED = 0x00A7,         // auth
    VXP_OP_FACTORY_RESET_WITHOUT_IP = 0x00AA, // auth
    VXP_OP_FACTORY_RESET = 0x00AB,            // auth
    VXP_OP_GET_DATE_TIME = 0x00AC,            // auth
    VXP_OP_SET_DATE_TIME = 0x00AD,            // auth
    VXP_OP_COMMIT_SETTINGS = 0x00C0,          // auth
    VXP_OP_QUERY_NET_STATUS = 0x00C9,         // auth
    VXP_OP_QUERY_NEIGHBOR = 0x00D0,
    VXP_OP_SET_MULTI_SSID = 0x00D1, // auth
    VXP_OP_VLAN_CONFIG = 0x00D2,    // auth
    VXP_OP_SNMP_CONFIG = 0x00D4,
    VXP_OP_GET_MULTI_SSID = 0x00D8, // auth
    VXP_OP_FIRMWARE_UPGRADE = 0x0100,
    VXP_OP_CONFIG_BACKUP = 0x0101,
    VXP_OP_CONFIG_UPGRADE = 0x0102,
    VXP_OP_REBOOT = 0x0103,
};

// Message header, 22 bytes. In host order inside a program, little-endian on the wire: message_to_CPU and
// message_to_LE convert it whole, right after receipt and right before sending, and nowhere else.
struct message_t {
    uint16_t uID;      //  0  VXP_ID_...
    uint16_t uReqTag;  //  2  chosen by the requester, copied into every reply; 0 in an announcement
    uint16_t uOP_Code; //  4  VXP_OP_...; a reply carries the request's
    uint8_t ucMAC[6];  //  6  the device that is addressed or that speaks
    uint8_t ucIP[4];   // 12  its IPv4 address
    uint16_t uFlag;    // 16  addressing mode of a request, outcome of a reply, 0 in an announcement
    uint16_t uVersion; // 18  VXP_VERSION
    uint16_t uBodyLen; // 20  body bytes after the header; the daemon trusts the datagram's length instead
};
static_assert(sizeof(message_t) == 22 && alignof(message_t) == 2);
static_assert(offsetof(message_t, ucMAC) == 6 && offsetof(message_t, ucIP) == 12 && offsetof(message_t, uFlag) == 16);

// Status block, 16 bytes: the whole body of a reply that reports an outcome only. Host order until status_to_LE.
struct status_t {
    uint32_t uStatus;    //  0  0 = success; other codes are the operation's own
    uint32_t uReserved1; //  4  0
    uint32_t uReserved2; //  8  0
    uint32_t uReserved3; // 12  0
};
static_assert(sizeof(status_t) == 16);

// The conversions work in place and return 0. They cannot fail here, but callers send nothing when one does.
int message_to_CPU(message_t *pMsg);
int message_to_LE(message_t *pMsg);
int status_to_LE(status_t *pStatus);

// Convert the 16-bit values that lie in the first iLen bytes, one that lies there half included. Return the number
// of bytes covered: iLen rounded up to even, 0 when iLen is below 1.
int u16_array_to_CPU(uint16_t *pValues, int iLen);
int u16_array_to_LE(uint16_t *pValues, int iLen);

// Fill *pRetMsg with the header that answers request: tag, operation and addresses are the request's. Host order.
void deriveReplyHeader(const message_t &request, message_t *pRetMsg, uint16_t uFlag, uint16_t uBodyLen);

#endif
