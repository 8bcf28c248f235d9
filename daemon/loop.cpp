// SPDX-License-Identifier: Apache-2.0
#include "daemon/loop.h"

#include "daemon/announce.h"
#include "daemon/auth.h"
#include "daemon/dump.h"
#include "daemon/interfaces.h"
#include "daemon/request.h"
#include "lib/debug.h"
#include "sys/settings.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace
{

// What is being handled: one datagram, in wire order, with a NUL behind it.
struct Datagram {
    uint8_t ucBytes[VXP_BUFFER_SIZE + 1];
    size_t uLen;
    uint8_t ucOwnMAC[6];
    uint8_t ucOwnIP[4];

    const uint8_t *body() const { return ucBytes + sizeof(message_t); }
};

// False when nothing came, which is no reason to look at the other interfaces' sockets in this pass.
bool receive(int iIndex, int iSocket, Datagram *pDatagram)
{
    sysGetMAC(iIndex, pDatagram->ucOwnMAC);
    sysGetIP(iIndex, pDatagram->ucOwnIP);
    memset(pDatagram->ucBytes, 0, sizeof pDatagram->ucBytes);
    // A datagram with a bad checksum wakes select and is gone by now: never wait here.
    const ssize_t iLen = recv(iSocket, pDatagram->ucBytes, VXP_BUFFER_SIZE, MSG_DONTWAIT);
    if (iLen <= 0)
        return false;
    pDatagram->uLen = static_cast<size_t>(iLen);
    return true;
}

bool isAddressedToAll(const message_t &request)
{
    static constexpr uint8_t EVERY_MAC[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    static constexpr uint8_t EVERY_IP[4] = {};
    if (memcmp(request.ucMAC, EVERY_MAC, sizeof EVERY_MAC) != 0 || memcmp(request.ucIP, EVERY_IP, sizeof EVERY_IP) != 0)
        return false;
    switch (request.uOP_Code) {
    case VXP_OP_DISCOVER:
    case VXP_OP_QUERY_SUPPORTED:
    case VXP_OP_QUERY_NEIGHBOR:
        return true;
    default:
        return false;
    }
}

bool isAddressedToThisDevice(const message_t &request, const Datagram &datagram)
{
    switch (request.uFlag) {
    case VXP_TO_ALL:
        return isAddressedToAll(request);
    case VXP_TO_ONE:
        return memcmp(request.ucMAC, datagram.ucOwnMAC, sizeof request.ucMAC) == 0 &&
               memcmp(request.ucIP, datagram.ucOwnIP, sizeof request.ucIP) == 0;
    default:
        return false;
    }
}

const RequestEntry *findEntry(uint16_t uOP_Code)
{
    for (const RequestEntry *pEntry = g_ReqFunc; pEntry->pHandler; pEntry++)
        if (pEntry->uOP_Code == uOP_Code)
            return pEntry;
    return nullptr;
}

// The 22-byte reply to a request that no handler sees. False when the header cannot be converted.
bool buildRefusal(const message_t &request, uint16_t uFlag, message_t *pReply)
{
    deriveReplyHeader(request, pReply, uFlag, 0);
    return message_to_LE(pReply) == 0;
}

void refuseNotSupported(interface_t &interface, const message_t &request)
{
    printf("pMsg->uOP_Code = %d not support\n", request.uOP_Code);
    sysDebug("FUNC:%s...\n", "_funcNotSupport");
    message_t reply;
    if (!buildRefusal(request, VXP_NOT_SUPPORTED, &reply))
        return;
    sysDebug("sending func not support...\n");
    broadcast(interface, VXP_REPLY_PORT, &reply, sizeof reply);
}

void refuseCredentials(interface_t &interface, const message_t &request)
{
    sysDebug("FUNC:%s...\n", "_funcAuthFail");
    message_t reply;
    if (buildRefusal(request, VXP_AUTH_FAILED, &reply))
        broadcast(interface, VXP_REPLY_PORT, &reply, sizeof reply);
}

void answer(interface_t &interface, const RequestEntry &entry, const message_t &request, const uint8_t *pBody)
{
    alignas(message_t) static uint8_t s_ucReply[VXP_BUFFER_SIZE];

    memset(s_ucReply, 0, sizeof s_ucReply);
    const uint16_t uLen = entry.pHandler(&request, pBody, reinterpret_cast<message_t *>(s_ucReply), sizeof s_ucReply);
    if (uLen == 0)
        return;
    sysDebug("sending reply(cnt=%d)...\n", uLen);
    broadcast(interface, VXP_REPLY_PORT, s_ucReply, uLen);
    entry.pHandler(nullptr, nullptr, nullptr, 0);
    sysDebug("done.\n");
}

void handleRequest(interface_t &interface, const message_t &request, const Datagram &datagram)
{
    if (!isAddressedToThisDevice(request, datagram))
        return;
    const RequestEntry *const pEntry = findEntry(request.uOP_Code);
    if (!pEntry) {
        refuseNotSupported(interface, request);
        return;
    }
    sysDebug("process request 0x%04x begin...\n", request.uOP_Code);
    if (pEntry->bAuth && !checkCredentials(datagram.body())) {
        refuseCredentials(interface, request);
        return;
    }
    answer(interface, *pEntry, request, datagram.body() + (pEntry->bAuth ? VXP_CREDENTIALS_SIZE : 0));
}

void handleDatagram(interface_t &interface, const Datagram &datagram)
{
    message_t message;
    memcpy(&message, datagram.ucBytes, sizeof message);
    if (message_to_CPU(&message) != 0)
        return;
    switch (message.uID) {
    case VXP_ID_REPLY:
        sysDebug("Get a message. ID=0x%04x\n", message.uID);
        dumpDatagram(Dump::reply, datagram.ucBytes, datagram.uLen);
        break;
    case VXP_ID_REQUEST:
        sysDebug("Get a request. ID=0x%04x\n", message.uID);
        dumpDatagram(Dump::request, datagram.ucBytes, datagram.uLen);
        handleRequest(interface, message, datagram);
        break;
    default:
        break;
    }
}

int fillReadSet(const InterfaceTable &table, fd_set *pSet)
{
    int iHighest = -1;
    FD_ZERO(pSet);
    for (int i = 0; i < table.iCount; i++) {
        if (!table.ppSlots[i])
            continue;
        FD_SET(table.ppSlots[i]->iRecvSocket, pSet);
        if (table.ppSlots[i]->iRecvSocket > iHighest)
            iHighest = table.ppSlots[i]->iRecvSocket;
    }
    return iHighest;
}

void serveReadySockets(const InterfaceTable &table, const fd_set &readable)
{
    static Datagram s_datagram;

    for (int i = 0; i < table.iCount; i++) {
        g_idxCurrentInterface = i;
        interface_t *const pInterface = table.ppSlots[i];
        if (!pInterface || !FD_ISSET(pInterface->iRecvSocket, &readable))
            continue;
        if (!receive(i, pInterface->iRecvSocket, &s_datagram)) {
            sysDebug("process interface %d done.\n", i);
            return;
        }
        handleDatagram(*pInterface, s_datagram);
    }
}

} // namespace

void runLoop(const InterfaceTable &table)
{
    // The kernel takes the time waited off the time-out, which is handed on from pass to pass: announcements are 30
    // seconds of waiting apart, whatever traffic comes in between.
    timeval timeout = {0, 0};
    for (;;) {
        if (timeout.tv_sec == 0 && timeout.tv_usec == 0) {
            timeout = {VXP_ANNOUNCE_INTERVAL, 0};
            announceAll(table);
        }
        fd_set readable;
        const int iHighest = fillReadSet(table, &readable);
        const int iReady = select(iHighest + 1, &readable, nullptr, nullptr, &timeout);
        if (iReady == -1) {
            fputs("vxpd: select error.\n", stderr);
            usleep(100'000); // the next pass may fail at once, too
        } else if (iReady > 0) {
            serveReadySockets(table, readable);
        }
    }
}
