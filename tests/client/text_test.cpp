// SPDX-License-Identifier: Apache-2.0
#include "client/text.h"

#include <gtest/gtest.h>

using namespace vxpctl;

namespace
{

TEST(Text, NothingReachesATerminalThatItWouldActOn)
{
    const struct {
        const char *pWhat;
        std::string bytes, valid, shown;
    } cases[] = {
        {"plain",                  "Hall 7",                 "Hall 7",                 "Hall 7"                },
        {"letters of all lengths", "\u00e4\u20ac\U0001F4E1", "\u00e4\u20ac\U0001F4E1", "\u00e4\u20ac\U0001F4E1"},
        {"escape sequence",        "\x1b[31mred",            "\x1b[31mred",            "\\x1b[31mred"          },
        {"line break, tab, DEL",   "a\r\n\tb\x7f",           "a\r\n\tb\x7f",           "a\\x0d\\x0a\\x09b\\x7f"},
        {"C1 control, as UTF-8",
         "\xC2\x9B"
         "31m",                                              "\xC2\x9B"
         "31m",                                                         "\\u009b31m"            },
        {"C1 control, as a byte",
         "\x9B"
         "31m",                                              "\\x9b31m",               "\\x9b31m"              },
        {"right-to-left override", "a\u202Eb",               "a\u202Eb",               "a\\u202eb"             },
        {"isolate, zero width",    "\u2066\u200b",           "\u2066\u200b",           "\\u2066\\u200b"        },
        {"tag character",          "\U000E0041",             "\U000E0041",             "\\U000e0041"           },
        {"line separator",         "\u2028",                 "\u2028",                 "\\u2028"               },
        {"Latin-1",                "H\xF6rsaal",             "H\\xf6rsaal",            "H\\xf6rsaal"           },
        {"overlong slash",         "\xC0\xAF",               "\\xc0\\xaf",             "\\xc0\\xaf"            },
        {"overlong, 3 bytes",      "\xE0\x80\xAF",           "\\xe0\\x80\\xaf",        "\\xe0\\x80\\xaf"       },
        {"surrogate",              "\xED\xA0\x80",           "\\xed\\xa0\\x80",        "\\xed\\xa0\\x80"       },
        {"above U+10FFFF",         "\xF4\x90\x80\x80",       "\\xf4\\x90\\x80\\x80",   "\\xf4\\x90\\x80\\x80"  },
        {"cut in the middle",      "a\xE2\x82",              "a\\xe2\\x82",            "a\\xe2\\x82"           },
    };
    for (const auto &c : cases) {
        EXPECT_EQ(validUtf8(c.bytes), c.valid) << c.pWhat;
        EXPECT_EQ(printable(c.bytes), c.shown) << c.pWhat;
        EXPECT_EQ(printable(c.valid), c.shown) << c.pWhat;
    }
}

TEST(Text, FieldsEndAtTheirNulOrAtTheirWidth)
{
    const char full[4] = {'a', 'b', 'c', 'd'}, half[4] = {'a', '\0', 'x', 'y'};
    EXPECT_EQ(fieldText(full), "abcd");
    EXPECT_EQ(fieldText(half), "a");
}

TEST(Text, WidthCountsTerminalColumns)
{
    EXPECT_EQ(displayWidth("abc"), 3U);
    EXPECT_EQ(displayWidth("\u00e4\u00f6"), 2U);
    if (!knowsCharacterWidths())
        GTEST_SKIP() << "this host has no C.UTF-8 locale: wide and combining characters are not known";
    EXPECT_EQ(displayWidth("\u5927\u5385"), 4U);
    EXPECT_EQ(displayWidth("a\u0308"), 1U);
}

} // namespace
