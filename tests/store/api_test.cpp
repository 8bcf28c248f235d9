// SPDX-License-Identifier: Apache-2.0
//
// What the store's functions promise about values, names, rows and transactions.
#include "tests/store/store_fixture.h"

#include <sys/syscall.h>
#include <unistd.h>

static int s_syncs = 0;

// Comes before the C library's, for LMDB too.
extern "C" int fdatasync(int file)
{
    s_syncs++;
    return static_cast<int>(syscall(SYS_fdatasync, file));
}

namespace
{

using Api = StoreTest;

TEST_F(Api, KeepsEveryByteOfAValue)
{
    const std::string longest(1048575, 'y');
    for (const std::string value : {"", "\xe2\x82\xac\xff\x80 not UTF-8 \x01\x7f\n \"q\" \\ # = / ", longest.c_str()}) {
        const int before = s_syncs;
        ASSERT_EQ(0, set(MODEL, value)) << lastText();
        EXPECT_GT(s_syncs, before) << "acknowledged before it was on the disk";
        EXPECT_EQ(value, get(MODEL));
        EXPECT_EQ(0, lsqlstore_close()); // what was acknowledged is in the file
        EXPECT_EQ(value, get(MODEL));
        EXPECT_EQ(value, get(MODEL)) << "read again, from where it was found";
    }
    EXPECT_EQ(LSQLSTORE_INVALID, set(MODEL, longest + "z"));
    EXPECT_THAT(lastText(), HasSubstr("1048575 bytes"));
    EXPECT_EQ(longest, get(MODEL));
}

TEST_F(Api, RefusesUnusableNamesInEveryCall)
{
    const std::string part(200, 'n'), longest(506 - 400, 'f'), tooLong = longest + "f";
    const std::pair<Name, const char *> cases[] = {
        {{nullptr, nullptr, "f"}, "object is null"},
        {{"", nullptr, "f"}, "object is null or empty"},
        {{"a/b", nullptr, "f"}, "'/'"},
        {{"o", "", "f"}, "instance is empty"},
        {{"o", "i", ""}, "field is null or empty"},
        {{"o", "i", "f", "", "v"}, "qualifier"},
        {{"o", "i", "f", "q=", "v"}, "'='"},
        {{part.c_str(), part.c_str(), tooLong.c_str()}, "506 bytes"},
    };
    for (const auto &[name, problem] : cases) {
        EXPECT_EQ(LSQLSTORE_INVALID, set(name, "v")) << problem;
        EXPECT_THAT(lastText(), HasSubstr(problem));
        EXPECT_EQ(LSQLSTORE_INVALID, unset(name)) << problem;
        EXPECT_EQ(std::nullopt, get(name)) << problem;
    }
    EXPECT_FALSE(std::filesystem::exists(m_dataFile)) << "a refused write makes no store";
    const Name allowed = {part.c_str(), part.c_str(), longest.c_str()};
    EXPECT_EQ(0, set(allowed, "v"));
    EXPECT_EQ("v", get(allowed));
    for (const Name &half : {Name{"o", nullptr, nullptr}, {"o", nullptr, "f", "q", nullptr}}) {
        EXPECT_EQ(std::nullopt, get(half));
        EXPECT_EQ(LSQLSTORE_INVALID, lastCode());
        EXPECT_EQ(LSQLSTORE_INVALID, unset(half));
    }
}

TEST_F(Api, RecordsMayBeNullOrForeign)
{
    lsqlquery_destroy_pv(nullptr);
    EXPECT_EQ(nullptr, lsqlquery_new_pv_solo(nullptr, "v"));
    EXPECT_EQ(nullptr, lsqlquery_new_pv_solo("f", nullptr));
    const auto setPv = [](lsqlquery_pv *pv, lsqlquery_pv *qualifier) {
        return lsqlquery_set_pv_with_error("o", nullptr, pv, qualifier, nullptr);
    };
    lsqlquery_pv foreign = {const_cast<char *>("f"), const_cast<char *>("v")};
    lsqlquery_pv half = {const_cast<char *>("f"), nullptr};
    EXPECT_EQ(0, setPv(&foreign, nullptr));
    EXPECT_EQ("v", get({"o", nullptr, "f"}));
    EXPECT_EQ(LSQLSTORE_INVALID, setPv(nullptr, nullptr));
    EXPECT_EQ(LSQLSTORE_INVALID, setPv(&half, nullptr));
    EXPECT_EQ(LSQLSTORE_INVALID, setPv(&foreign, &half));
}

TEST_F(Api, TellsRowsApart)
{
    const Name qualifier = {"vap", "ap0", "radio", "radio", "wlan0"};
    EXPECT_EQ(std::nullopt, get(qualifier)) << "no row yet";
    const std::pair<Name, const char *> fields[] = {{{"vap", nullptr, "vlan-id"}, "none"},
                                                    {{"vap", "ap0", "vlan-id"}, "plain"},
                                                    {{"vap", "ap0", "vlan-id", "radio", "wlan0"}, "1"},
                                                    {{"vap", "ap0", "vlan-id", "radio", "wlan1"}, "2"},
                                                    {{"vap", nullptr, "vlan-id", "radio", "wlan0"}, "3"}};
    for (const auto &[name, value] : fields)
        EXPECT_EQ(0, set(name, value));
    for (const auto &[name, value] : fields)
        EXPECT_EQ(value, get(name));
    EXPECT_EQ(std::nullopt, get({"vap", "ap0", "vlan-id", "radio", "wlan2"}));
    EXPECT_EQ(std::nullopt, get({"vap", "ap0", "ssid", "radio", "wlan0"}));
    EXPECT_EQ(LSQLSTORE_NOT_FOUND, lastCode());

    EXPECT_EQ("wlan0", get(qualifier)) << "a qualified row answers its qualifier";
    EXPECT_EQ(0, set(qualifier, "wlan0"));
    EXPECT_EQ(LSQLSTORE_INVALID, set(qualifier, "wlan1"));
    EXPECT_THAT(lastText(), HasSubstr("tells this row from others"));
    EXPECT_EQ("wlan0", get(qualifier));
}

TEST_F(Api, AnyRowThatHoldsTheQualifierIsTheRow)
{
    const Name qualified = {"vap", "ap0", "vlan-id", "radio", "wlan0"}, plain = {"vap", "ap0", "vlan-id"};
    EXPECT_EQ(0, set({"vap", "ap0", "radio"}, "wlan0"));
    EXPECT_EQ(0, set(plain, "5"));
    EXPECT_EQ("5", get(qualified));
    EXPECT_EQ(std::nullopt, get({"vap", "ap0", "vlan-id", "radio", "wlan1"})) << "the row holds another value";
    EXPECT_EQ(0, set(qualified, "6"));
    EXPECT_EQ("vap/ap0.radio=wlan0\nvap/ap0.vlan-id=6\n", contents());
    EXPECT_EQ(0, unset(qualified));
    EXPECT_EQ(std::nullopt, get(plain));

    // A row written under the qualifier comes before one that merely holds it.
    EXPECT_EQ(0, write({{qualified, "7"}}, LSQLSTORE_EXACT));
    EXPECT_EQ("7", get(qualified));
    EXPECT_EQ("7", get({"vap", "ap0", "vlan-id", "vlan-id", "7"})) << "by another field of that row";
    EXPECT_EQ(std::nullopt, get({"vap", "ap", "vlan-id", "radio", "wlan0"})) << "ap is not ap0";
}

TEST_F(Api, ReadsWhatOthersWriteAtOnce)
{
    ASSERT_EQ(0, set(MODEL, "mine"));
    EXPECT_EQ("mine", get(MODEL));
    EXPECT_EQ(0, inChild([] {
                  EXPECT_EQ("mine", get(MODEL)) << "a child has the store, too";
                  return set(MODEL, "theirs");
              }));
    EXPECT_EQ("theirs", get(MODEL));
    EXPECT_EQ(0, inChild([] { return unset(MODEL); }));
    EXPECT_EQ(std::nullopt, get(MODEL));
    EXPECT_EQ(LSQLSTORE_NOT_FOUND, unset(MODEL));
    EXPECT_EQ(0, set(MODEL, "mine again"));
    EXPECT_NE(0, std::system("ls -l /proc/self/fd | grep mdb")) << "a command has the store open";
    EXPECT_EQ(0, lsqlstore_close());
    EXPECT_NE(0, std::system("ls -l /proc/$PPID/fd | grep mdb")) << "this process has it open still";
}

TEST_F(Api, ManyFieldsStayApart)
{
    // More than a reader remembers the place of, so that some share one.
    std::vector<std::string> names(3000);
    std::vector<std::pair<Name, const char *>> values;
    for (std::string &name : names) {
        name = "f" + std::to_string(values.size());
        values.push_back({{"o", nullptr, name.c_str()}, name.c_str()});
    }
    ASSERT_EQ(0, write(values)) << lastText();
    for (int pass = 0; pass < 2; pass++)
        for (const auto &[name, value] : values)
            ASSERT_EQ(value, get(name));
}

TEST_F(Api, WritesAllOrNothing)
{
    const Name a = {"o", nullptr, "a"}, b = {"o", "i", "b"}, absent = {"o", nullptr, "absent"};
    ASSERT_EQ(0, write({{a, "1"}, {{"o", "i", "old", "q", "v"}, "1"}}));
    const std::string before = contents();
    const auto expectRefusal = [&](const Name &last, const char *value, int code, const char *text) {
        size_t at = 0;
        EXPECT_EQ(code, write({{a, "2"}, {b, "2"}, {last, value}}, 0, &at));
        EXPECT_EQ(2u, at);
        EXPECT_THAT(lastText(), HasSubstr(text));
        EXPECT_EQ(before, contents());
    };
    expectRefusal(absent, nullptr, LSQLSTORE_NOT_FOUND, "cannot remove o absent: there is no such field");
    expectRefusal(a, "2", LSQLSTORE_INVALID, "given twice");

    EXPECT_EQ(0, write({{a, "2"}, {b, "2"}}, LSQLSTORE_REPLACE));
    EXPECT_EQ("o.a=2\no/i.b=2\n", contents());
    EXPECT_EQ(0, write({}, LSQLSTORE_REPLACE));
    EXPECT_EQ("", contents());
}

TEST_F(Api, AWalkSeesOneInstantAndLeavesWritersTheirRoom)
{
    setenv("LSQLQUERY_MAP_SIZE", "1M", 1);
    ASSERT_EQ(0, write({{{"o", nullptr, "a"}, "1"}, {{"o", nullptr, "b"}, "1"}, {{"other", nullptr, "z"}, "1"}}));
    const auto visit = [](const lsqlstore_field *field, void *context) {
        *static_cast<std::string *>(context) += describe(*field);
        for (int i = 0; i < 500; i++)
            EXPECT_EQ(0, set({"o", nullptr, "b"}, std::to_string(i))) << lastText();
        EXPECT_EQ("499", get({"o", nullptr, "b"}));
        EXPECT_EQ(0, lsqlstore_close());
        return *field->field == 'x' ? -5 : 0;
    };
    std::string seen;
    EXPECT_EQ(0, lsqlstore_walk("o", visit, &seen, nullptr));
    EXPECT_EQ("o.a=1\no.b=1\n", seen);
    ASSERT_EQ(0, set({"o", nullptr, "x"}, "1"));
    EXPECT_EQ(-5, lsqlstore_walk(nullptr, visit, &seen, nullptr));
    EXPECT_EQ("o.a=1\no.b=1\no.a=1\no.b=499\no.x=1\n", seen);
}

} // namespace
