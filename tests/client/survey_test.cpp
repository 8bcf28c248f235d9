// SPDX-License-Identifier: Apache-2.0
//
// Where devices are looked for, which are meant, and how long they are waited for.
#include "client/failure.h"
#include "client/survey.h"
#include "client/target.h"

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
        return std::string(failure.error().code);
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

TEST(Target, FormTellsWhatIsMeant)
{
    const std::pair<const char *, const char *> cases[] = {
        {"02:4B:65:73:74:01", "mac=02:4b:65:73:74:01"},
        {"02-4b-65-73-74-01", "mac=02:4b:65:73:74:01"},
        {"02:4b-65:73:74:01", "name=02:4b-65:73:74:01"},
        {"10.1.2.3", "ip=10.1.2.3"},
        {"name:10.1.2.3", "name=10.1.2.3"},
        {"10.1.2", "name=10.1.2"},
        {"Front desk", "name=Front desk"},
    };
    for (const auto &[pText, pMeant] : cases) {
        const Target target = parseTarget(pText);
        EXPECT_EQ(target.field + "=" + target.value, pMeant) << pText;
    }
    for (const char *pText : {"mac:10.1.2.3", "ip:Lobby", "name:", ""})
        EXPECT_THROW(parseTarget(pText), Failure) << pText;
}

TEST(Survey, TriesSpreadOverTheTimeWithGrowingGaps)
{
    using namespace std::chrono_literals;
    EXPECT_EQ(sendTimes(5368ms, 4), (std::vector<Clock::duration>{0ms, 1000ms, 2200ms, 3640ms}));
    EXPECT_EQ(sendTimes(3s, 1), (std::vector<Clock::duration>{0ms}));
    for (int i = 0; i < 100; i++) {
        const auto times = jittered(sendTimes(10s, 12));
        EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
        EXPECT_LT(times.back(), 9s);
    }
}

TEST(Survey, GoesOnWhileADeviceIsLikelyToBeMissing)
{
    const struct {
        const char *pWhat;
        std::size_t found, answers, rounds;
        bool goesOn;
    } cases[] = {
        {"50 without loss, 2 rounds", 50, 100, 2, true},  {"50 without loss, 3 rounds", 50, 150, 3, false},
        {"1 without loss, 3 rounds", 1, 3, 3, true},      {"1 without loss, 4 rounds", 1, 4, 4, false},
        {"50, a third lost, 9 rounds", 50, 288, 9, true}, {"50, a third lost, 11 rounds", 50, 352, 11, false},
        {"nobody after 9 rounds", 0, 0, 9, true},         {"nobody after 10 rounds", 0, 0, 10, false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(expectedMissing(c.found, c.answers, c.rounds) > 0.001, c.goesOn) << c.pWhat;
}

} // namespace
