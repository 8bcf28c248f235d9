// SPDX-License-Identifier: Apache-2.0
#include "daemon/interfaces.h"

#include "daemon/message.h"
#include "sys/settings.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

bool bindToDevice(int iSocket, const char *strName)
{
    return setsockopt(iSocket, SOL_SOCKET, SO_BINDTODEVICE, strName, static_cast<socklen_t>(strlen(strName))) == 0;
}

// Until the interface is there, the sockets belong to all.
void tie(interface_t &interface)
{
    const bool bSends = bindToDevice(interface.iSendSocket, interface.strName);
    interface.bTied = bindToDevice(interface.iRecvSocket, interface.strName) && bSends;
}

// A broadcasting datagram socket that device tools do not inherit; -1 on failure.
int openSocket(int iProtocol)
{
    const int iSocket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, iProtocol);
    if (iSocket == -1)
        return -1;
    const int iOn = 1;
    setsockopt(iSocket, SOL_SOCKET, SO_BROADCAST, &iOn, sizeof iOn);
    return iSocket;
}

void closeInterface(interface_t *pInterface)
{
    if (pInterface->iRecvSocket != -1)
        close(pInterface->iRecvSocket);
    if (pInterface->iSendSocket != -1)
        close(pInterface->iSendSocket);
    free(pInterface);
}

bool fillInterface(int iIndex, interface_t *pInterface)
{
    if (sysGetInterfaceName(iIndex, pInterface->strName) != 0) {
        printf("Get %d interface name failed.\n", iIndex);
        return false;
    }
    pInterface->iSendSocket = openSocket(IPPROTO_UDP);
    if (pInterface->iSendSocket == -1) {
        printf("Create send socket for interface %d failed.\n", iIndex);
        return false;
    }
    pInterface->iRecvSocket = openSocket(0);
    if (pInterface->iRecvSocket == -1) {
        printf("Create receive socket for interface %d failed.\n", iIndex);
        return false;
    }
    tie(*pInterface);
    const sockaddr_in address = broadcastAddress(VXP_REQUEST_PORT);
    if (bind(pInterface->iRecvSocket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == -1) {
        printf("Bind interface %d failed.\n", iIndex);
        return false;
    }
    return true;
}

// A complete record, or null.
interface_t *openInterface(int iIndex)
{
    auto *const pInterface = static_cast<interface_t *>(calloc(1, sizeof(interface_t)));
    if (!pInterface)
        return nullptr;
    pInterface->iRecvSocket = -1;
    pInterface->iSendSocket = -1;
    if (fillInterface(iIndex, pInterface))
        return pInterface;
    closeInterface(pInterface);
    return nullptr;
}

bool sendOnce(const interface_t &interface, uint16_t uPort, const void *pData, size_t uLen)
{
    const sockaddr_in address = broadcastAddress(uPort);
    return sendto(interface.iSendSocket, pData, uLen, 0, reinterpret_cast<const sockaddr *>(&address),
                  sizeof address) != -1;
}

} // namespace

bool openInterfaces(InterfaceTable *pTable)
{
    const int iCount = sysGetInterfaceCount();
    pTable->iCount = iCount > 0 ? iCount : 0;
    // One slot more than needed, so that a table without interfaces is not taken for a failure.
    pTable->ppSlots =
        static_cast<interface_t **>(calloc(static_cast<size_t>(pTable->iCount) + 1, sizeof(interface_t *)));
    bool bOpen = pTable->ppSlots;
    for (int i = 0; bOpen && i < pTable->iCount; i++) {
        pTable->ppSlots[i] = openInterface(i);
        bOpen = pTable->ppSlots[i];
    }
    if (bOpen)
        return true;
    for (int i = 0; pTable->ppSlots && i < pTable->iCount; i++)
        if (pTable->ppSlots[i])
            closeInterface(pTable->ppSlots[i]);
    free(pTable->ppSlots);
    puts("out of memory"); // whatever the failure was
    return false;
}

void broadcast(interface_t &interface, uint16_t uPort, const void *pData, size_t uLen)
{
    if (!interface.bTied)
        tie(interface);
    if (sendOnce(interface, uPort, pData, uLen) || (errno != ENODEV && errno != ENXIO))
        return;
    tie(interface);
    sendOnce(interface, uPort, pData, uLen);
}
