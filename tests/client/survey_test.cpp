// SPDX-License-Identifier: Apache-2.0
#include "client/failure.h"
#include "client/survey.h"

#include <gtest/gtest.h>
#include <net/if.h>

using namespace vxpctl;

namespace
{

std::string chosen(const std::vector<Interface> &all, const std::vector<std::string> &names)
{
    try {
        std::string result;
        for (const Interface &interface : chooseInterfaces(all, names))
            result += interface.name + " ";
        return result;
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.exitCode(), ExitCode::localNetwork);
        return failure.error().code;
    }
}

TEST(Survey, InterfacesAreChosenByNameOrByUse)
{
    const std::vector<Interface> host{
        {"lo", 1, IFF_UP | IFF_LOOPBACK},    {"eth0", 2, IFF_UP | IFF_BROADCAST | IFF_RUNNING},
        {"eth1", 3, IFF_BROADCAST},          {"tun0", 4, IFF_UP | IFF_POINTOPOINT},
        {"eth2", 5, IFF_UP | IFF_BROADCAST}, {"eth3", 6, IFF_UP | IFF_BROADCAST, {}, true},
    };
    EXPECT_EQ(chosen(host, {}), "eth0 eth2 ") << "also one without an address and one without a link";
    EXPECT_EQ(chosen(host, {"eth2", "eth0", "eth2"}), "eth2 eth0 ");
    EXPECT_EQ(chosen(host, {"eth3"}), "eth3 ") << "a port of a bridge, for who insists";
    EXPECT_EQ(chosen(host, {"eth0", "eth9"}), "interface_not_found");
    EXPECT_EQ(chosen(host, {"eth1"}), "interface_down");
    EXPECT_EQ(chosen(host, {"lo"}), "interface_unusable");
    EXPECT_EQ(chosen(host, {"tun0"}), "interface_unusable");
    EXPECT_EQ(chosen({host[0]}, {}), "no_interface");
}

TEST(Survey, TriesSpreadOverTheTimeWithGrowingGaps)
{
    using namespace std::chrono_literals;
    EXPECT_EQ(sendTimes(8125ms, 4), (std::vector<Clock::duration>{0ms, 1000ms, 2500ms, 4750ms}));
    EXPECT_EQ(sendTimes(3s, 1), (std::vector<Clock::duration>{0ms}));
}

} // namespace
