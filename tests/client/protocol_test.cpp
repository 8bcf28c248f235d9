// SPDX-License-Identifier: Apache-2.0
#include "client/protocol.h"
#include "client/survey.h"

#include "frames.h"

#include <gmock/gmock.h>

using namespace vxpctl;
using testing::ElementsAre;

namespace
{

TEST(Protocol, BroadcastRequestByteByByte)
{
    EXPECT_THAT(makeBroadcastRequest(0x00A1, 0x1234), ElementsAre(0xFD, 0xFD, 0x34, 0x12, 0xA1, 0x00, 0xFF, 0xFF, 0xFF,
                                                                  0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0));
}

TEST(Protocol, OnlyTheAnswerToTheRequestCounts)
{
    const struct {
        const char *pWhat;
        std::size_t offset;
        std::uint8_t value;
        std::size_t size;
        Verdict verdict;
    } cases[] = {
        {"as it should be",              1,  0xFE, 505,  Verdict::wanted      },
        {"more than the body",           1,  0xFE, 1400, Verdict::wanted      },
        {"a request",                    1,  0xFD, 505,  Verdict::otherKind   },
        {"another tag, low byte",        2,  0x35, 505,  Verdict::otherRequest},
        {"another tag, high byte",       3,  0x13, 505,  Verdict::otherRequest},
        {"another operation",            4,  0xD0, 505,  Verdict::otherRequest},
        {"not supported",                16, 0x03, 505,  Verdict::refused     },
        {"one byte of the body missing", 1,  0xFE, 504,  Verdict::tooShort    },
        {"a header only",                1,  0xFE, 22,   Verdict::tooShort    },
        {"not even a header",            1,  0xFE, 21,   Verdict::tooShort    },
        {"nothing at all",               1,  0xFE, 0,    Verdict::tooShort    },
    };
    for (const auto &c : cases) {
        Frame frame = discoverReply(0x34, 0x12, 9, "Hall");
        frame[c.offset] = c.value;
        frame.resize(c.size);
        EXPECT_EQ(judgeReply(frame, 0x00A1, 0x1234, 483), c.verdict) << c.pWhat;
    }
}

TEST(Protocol, AnnouncementsAreToldFromRequestsOnTheSamePort)
{
    Frame frame = announcement(9, "Hall");
    EXPECT_EQ(judgeAnnouncement(frame, 295), Verdict::wanted);
    EXPECT_EQ(judgeAnnouncement(Bytes(frame).first(316), 295), Verdict::tooShort);
    frame[0] = 0xFD, frame[1] = 0xFD;
    EXPECT_EQ(judgeAnnouncement(frame, 295), Verdict::otherKind);
}

TEST(Protocol, TriesSpreadOverTheTimeWithGrowingGaps)
{
    using namespace std::chrono_literals;
    EXPECT_THAT(sendTimes(8125ms, 4), ElementsAre(0ms, 1000ms, 2500ms, 4750ms));
    EXPECT_THAT(sendTimes(3s, 1), ElementsAre(0ms));
}

} // namespace
