// SPDX-License-Identifier: Apache-2.0
//
// wire_bench NAME INTERFACE BARE_INTERFACE
//
// Neighbour queries to NAME behind one interface and to bare_responder behind another, in turn, so that both see the
// same machine: the round trip of one query at a time, and answers per second with 32 outstanding. Medians of the
// rounds; ratios are medians of the ratios round by round.
#include "daemon/message.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace
{

constexpr int ROUNDS = 21;
constexpr int QUERIES = 2000;         // of one round, one at a time
constexpr int WINDOW_QUERIES = 10000; // of one round, WINDOW at a time
constexpr int WINDOW = 32;

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

[[noreturn]] void fail(const char *strWhat)
{
    perror(strWhat);
    exit(1);
}

class Device
{
public:
    explicit Device(const char *strInterface) : m_iSocket(socket(AF_INET, SOCK_DGRAM, 0)), m_strInterface(strInterface)
    {
        const int iOn = 1;
        const timeval patience = {0, 200'000};
        sockaddr_in own = {};
        own.sin_family = AF_INET;
        own.sin_port = htons(VXP_REPLY_PORT);
        if (setsockopt(m_iSocket, SOL_SOCKET, SO_BROADCAST, &iOn, sizeof iOn) == -1 ||
            setsockopt(m_iSocket, SOL_SOCKET, SO_REUSEADDR, &iOn, sizeof iOn) == -1 ||
            setsockopt(m_iSocket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) == -1 ||
            setsockopt(m_iSocket, SOL_SOCKET, SO_BINDTODEVICE, strInterface,
                       static_cast<socklen_t>(strlen(strInterface))) == -1 ||
            bind(m_iSocket, reinterpret_cast<const sockaddr *>(&own), sizeof own) == -1)
            fail(strInterface);
    }

    void ask(uint16_t uTag)
    {
        message_t query = {VXP_ID_REQUEST, uTag, VXP_OP_QUERY_NEIGHBOR, {}, {}, VXP_TO_ALL, VXP_VERSION, 0};
        memset(query.ucMAC, 0xFF, sizeof query.ucMAC);
        message_to_LE(&query);
        sockaddr_in everybody = {};
        everybody.sin_family = AF_INET;
        everybody.sin_port = htons(VXP_REQUEST_PORT);
        everybody.sin_addr.s_addr = htonl(INADDR_BROADCAST);
        if (sendto(m_iSocket, &query, sizeof query, 0, reinterpret_cast<sockaddr *>(&everybody), sizeof everybody) ==
            -1)
            fail(m_strInterface);
    }

    // The tag of the next neighbour reply; exits when none comes.
    uint16_t hear()
    {
        uint8_t ucReply[VXP_BUFFER_SIZE];
        if (recv(m_iSocket, ucReply, sizeof ucReply, 0) != 253) {
            fprintf(stderr, "wire_bench: %s: no neighbour reply within 0.2 s\n", m_strInterface);
            exit(1);
        }
        message_t reply;
        memcpy(&reply, ucReply, sizeof reply);
        message_to_CPU(&reply);
        return reply.uReqTag;
    }

    // Ask until the device, which may still be starting, answers; then drop what else it says.
    void awaitStart()
    {
        uint8_t ucReply[VXP_BUFFER_SIZE];
        int iTries = 50;
        do {
            if (iTries-- == 0)
                fail(m_strInterface);
            ask(0);
        } while (recv(m_iSocket, ucReply, sizeof ucReply, 0) == -1);
        while (recv(m_iSocket, ucReply, sizeof ucReply, 0) != -1)
            continue;
    }

    // Median microseconds from a query to its reply.
    double roundTrip()
    {
        std::vector<double> times;
        for (int i = 0; i < QUERIES; i++) {
            const auto start = Clock::now();
            ask(++m_uTag);
            if (hear() != m_uTag)
                fail("wire_bench: a reply to another query");
            times.push_back(secondsSince(start) * 1e6);
        }
        std::nth_element(times.begin(), times.begin() + QUERIES / 2, times.end());
        return times[QUERIES / 2];
    }

    double answersPerSecond()
    {
        const auto start = Clock::now();
        for (int i = 0; i < WINDOW; i++)
            ask(++m_uTag);
        for (int i = WINDOW; i < WINDOW_QUERIES; i++) {
            hear();
            ask(++m_uTag);
        }
        for (int i = 0; i < WINDOW; i++)
            hear();
        return WINDOW_QUERIES / secondsSince(start);
    }

private:
    int m_iSocket;
    const char *m_strInterface;
    uint16_t m_uTag = 0;
};

struct Figures {
    std::vector<double> device, bare, ratio;

    void add(double dDevice, double dBare)
    {
        device.push_back(dDevice);
        bare.push_back(dBare);
        ratio.push_back(dDevice / dBare);
    }
};

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 4) {
        fputs("usage: wire_bench NAME INTERFACE BARE_INTERFACE\n", stderr);
        return 2;
    }
    Device device(argv[2]), bare(argv[3]);
    device.awaitStart();
    bare.awaitStart();
    Figures trip, rate;
    for (int i = 0; i < ROUNDS; i++) {
        const double dDeviceTrip = device.roundTrip();
        trip.add(dDeviceTrip, bare.roundTrip());
        const double dDeviceRate = device.answersPerSecond();
        rate.add(dDeviceRate, bare.answersPerSecond());
    }
    printf("round-trip %s_us=%.2f bare_us=%.2f ratio=%.3f\n", argv[1], median(trip.device), median(trip.bare),
           median(trip.ratio));
    printf("throughput %s_per_s=%.0f bare_per_s=%.0f ratio=%.3f\n", argv[1], median(rate.device), median(rate.bare),
           median(rate.ratio));
}
