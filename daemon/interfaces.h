// SPDX-License-Identifier: Apache-2.0
//
// The management interfaces and their sockets.
#ifndef VXP_DAEMON_INTERFACES_H
#define VXP_DAEMON_INTERFACES_H

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstddef>
#include <cstdint>

// The port at 255.255.255.255.
inline sockaddr_in broadcastAddress(uint16_t uPort)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(uPort);
    address.sin_addr.s_addr = htonl(INADDR_BROADCAST);
    return address;
}

struct interface_t {
    char strName[32];
    int iRecvSocket; // bound to 255.255.255.255 port 62976; -1 when not open
    int iSendSocket; // has no address; -1 when not open
    bool bTied;      // both sockets are the interface's alone
};

// One slot per interface index; a slot is null until its record is complete.
struct InterfaceTable {
    interface_t **ppSlots;
    int iCount;
};

// Open the sockets of every management interface. On failure says on standard output what failed, closes what was
// open and returns false.
bool openInterfaces(InterfaceTable *pTable);

// Broadcast on one interface, to 255.255.255.255. Sockets that could not be tied to the interface, because it was not
// there yet, are tied first. A send that fails because the interface has gone (ENODEV, ENXIO) ties both sockets to the
// interface's name again, in case it has come back with another index, and sends once more. Other failures are ignored:
// nobody waits for the result.
void broadcast(interface_t &interface, uint16_t uPort, const void *pData, size_t uLen);

#endif
