// SPDX-License-Identifier: Apache-2.0
//
// bare_responder INTERFACE [select]
//
// What answering costs at the very least. Receives a datagram, broadcasts 253 bytes of which only the request's tag is
// not constant, and nothing else; linked with the libraries that vxpd is linked with. With "select" it waits as vxpd
// has to, who serves several interfaces and announces itself.
#include "daemon/interfaces.h"
#include "daemon/message.h"

#include <sys/select.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>

namespace
{

int openSocket(const char *strInterface)
{
    const int iSocket = socket(AF_INET, SOCK_DGRAM, 0);
    const int iOn = 1;
    setsockopt(iSocket, SOL_SOCKET, SO_BROADCAST, &iOn, sizeof iOn);
    setsockopt(iSocket, SOL_SOCKET, SO_BINDTODEVICE, strInterface, static_cast<socklen_t>(strlen(strInterface)));
    return iSocket;
}

void waitFor(int iSocket)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(iSocket, &readable);
    timeval timeout = {VXP_ANNOUNCE_INTERVAL, 0};
    select(iSocket + 1, &readable, nullptr, nullptr, &timeout);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 2)
        return 2;
    const bool bSelect = argc > 2 && strcmp(argv[2], "select") == 0;
    const int iReceive = openSocket(argv[1]);
    const int iSend = openSocket(argv[1]);
    const sockaddr_in own = broadcastAddress(VXP_REQUEST_PORT), reply = broadcastAddress(VXP_REPLY_PORT);
    if (bind(iReceive, reinterpret_cast<const sockaddr *>(&own), sizeof own) == -1) {
        perror("bare_responder: bind");
        return 1;
    }
    static uint8_t s_ucRequest[VXP_BUFFER_SIZE], s_ucReply[253] = {0xEE, 0xFE};
    for (;;) {
        if (bSelect)
            waitFor(iReceive);
        if (recv(iReceive, s_ucRequest, sizeof s_ucRequest, 0) <= 0)
            continue;
        memcpy(s_ucReply + 2, s_ucRequest + 2, 4);
        sendto(iSend, s_ucReply, sizeof s_ucReply, 0, reinterpret_cast<const sockaddr *>(&reply), sizeof reply);
    }
}
