// SPDX-License-Identifier: Apache-2.0
//
// discover_bench
//
// What the handler of a discovery costs beside the process that tells it the time: both in turn, against a store with
// the fields that a reply needs. LSQLQUERY_DB names the store's folder. The ratio is the median of the pairs' ratios.
#include "daemon/request.h"
#include "lsqlquery/lsqlquery.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace
{

constexpr int PAIRS = 1000;

void fillStore()
{
    constexpr const char *FIELDS[][3] = {
        {"system", "model", "AP-2600"},
        {"system", "version", "4.1.0"},
        {"system", "system-name", "Lobby"},
        {"management", "ip", "192.168.0.50"},
        {"management", "mask", "255.255.255.0"},
        {"management", "mac", "02:00:00:00:00:50"},
        {"management", "dhcp-status", "down"},
        {"management", "ipv6-status", "up"},
        {"management", "ipv6-autoconfig-status", "down"},
        {"management", "static-ipv6", "2001:db8::50"},
        {"management", "static-ipv6-prefix-length", "64"},
        {"static-ipv6-route", "gateway", "2001:db8::1"},
        {"ip-route", "gateway", "192.168.0.1"},
        {"host", "dns-via-dhcp", "down"},
        {"host", "static-dns-1", "192.0.2.1"},
        {"host", "static-dns-2", "192.0.2.2"},
    };
    for (const auto &[strObject, strField, strValue] : FIELDS) {
        lsqlquery_pv *const pRecord = lsqlquery_new_pv_solo(strField, strValue);
        char *strError = nullptr;
        if (lsqlquery_set_pv_with_error(strObject, nullptr, pRecord, nullptr, &strError) != 0) {
            fprintf(stderr, "discover_bench: %s\n", strError);
            exit(1);
        }
        lsqlquery_destroy_pv(pRecord);
    }
}

void discover()
{
    alignas(message_t) static uint8_t s_ucReply[VXP_BUFFER_SIZE];
    const message_t request = {VXP_ID_REQUEST, 1, VXP_OP_DISCOVER, {}, {}, VXP_TO_ALL, VXP_VERSION, 0};
    static const uint8_t s_ucBody[1] = {};
    std::fill(std::begin(s_ucReply), std::end(s_ucReply), uint8_t{0});
    if (funcDiscover(&request, s_ucBody, reinterpret_cast<message_t *>(s_ucReply), sizeof s_ucReply) != 505)
        exit(1);
}

void askTime()
{
    FILE *const pPipe = popen("date +%Y%m%d%H%M%S", "re");
    char strLine[1024];
    if (!pPipe || !fgets(strLine, sizeof strLine, pPipe))
        exit(1);
    pclose(pPipe);
}

double microseconds(void (*pFunction)())
{
    const auto start = std::chrono::steady_clock::now();
    pFunction();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main()
{
    fillStore();
    std::vector<double> discovery, time, ratio;
    for (int i = 0; i < PAIRS; i++) {
        // Who comes first changes from pair to pair.
        const bool bFirst = i % 2 == 0;
        const double dFirst = microseconds(bFirst ? discover : askTime);
        const double dSecond = microseconds(bFirst ? askTime : discover);
        discovery.push_back(bFirst ? dFirst : dSecond);
        time.push_back(bFirst ? dSecond : dFirst);
        ratio.push_back(discovery.back() / time.back());
    }
    printf("discovery handler_us=%.1f date_us=%.1f ratio=%.3f\n", median(discovery), median(time), median(ratio));
}
