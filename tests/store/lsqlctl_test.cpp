// SPDX-License-Identifier: Apache-2.0
//
// lsqlctl as a person or a script meets it.
#include "tests/store/store_fixture.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace
{

using Lsqlctl = StoreTest;

TEST_F(Lsqlctl, AnswersOnTheCommandLine)
{
    // In this order, on one store.
    const std::tuple<std::vector<std::string>, int, std::string, const char *> cases[] = {
        {{}, 2, "", "a command is missing; lsqlctl --help"},
        {{"frob"}, 2, "", "no command \"frob\""},
        {{"get", "o"}, 2, "", "usage: lsqlctl get OBJECT[/INSTANCE] FIELD"},
        {{"get", "o", "f", "noequals"}, 2, "", "write QFIELD=QVALUE"},
        {{"dump", "file"}, 2, "", "usage"},
        {{"load", "--replace"}, 2, "", "usage: lsqlctl load [--replace] FILE"},
        {{"get", "o", "f"}, 1, "", "no store in this folder yet"},
        {{"set", "o", "f", "value"}, 0, "", ""},
        {{"set", "o", "g", "--x"}, 0, "", ""},
        {{"set", "o/i", "f", "q=a=b", "qualified"}, 0, "", ""},
        {{"set", "o/i", "f", "noequals", "v"}, 2, "", "write QFIELD=QVALUE"},
        {{"get", "o", "f"}, 0, "value\n", ""},
        {{"get", "o/i", "f", "q=a=b"}, 0, "qualified\n", ""},
        {{"get", "o/i", "g"}, 3, "", "there is no field o/i g"},
        {{"list"}, 0, "o\no/i q=a=b\n", ""},
        {{"list", "o"}, 0, "o f \"value\"\no g \"--x\"\no/i f q=a=b \"qualified\"\n", ""},
        {{"list", "p"}, 3, "", "no object \"p\""},
        {{"unset", "o/i", "f", "q=a=b"}, 0, "", ""},
        {{"unset", "o/i", "f", "q=a=b"}, 3, "", "cannot remove o/i f q=a=b: there is no such field"},
        {{"--version"}, 0, "lsqlctl 0.1.0\n", ""},
    };
    for (const auto &[arguments, code, out, err] : cases) {
        const Result finished = runCtl(arguments);
        const std::string what = testing::PrintToString(arguments);
        EXPECT_EQ(code, finished.iStatus) << what;
        EXPECT_EQ(out, finished.strOut) << what;
        EXPECT_THAT(finished.strErr, HasSubstr(err)) << what;
        EXPECT_EQ(code == 0, finished.strErr.empty()) << what << finished.strErr;
    }
    EXPECT_THAT(runCtl({"--help"}).strOut,
                AllOf(HasSubstr("get   OBJECT"), HasSubstr("\n  watch "), HasSubstr("LSQLQUERY_DB")));
}

TEST_F(Lsqlctl, OutputThatDoesNotArriveIsAFailure)
{
    EXPECT_EQ(0, set(MODEL, "v"));
    EXPECT_EQ(1, inChild([] {
                  dup2(open("/dev/full", O_WRONLY), 1);
                  dup2(open("/dev/null", O_WRONLY), 2);
                  return execCtl({"dump"});
              }));
}

TEST_F(Lsqlctl, ADumpBringsEverythingBack)
{
    std::string everyByte;
    for (int byte = 1; byte < 256; byte++)
        everyByte += static_cast<char>(byte);
    const std::string letters = "\xc3\xa9 \xf0\x9f\x93\xa1 ", odd = letters + "\xc2\x9b \xed\xa0\x80";
    const std::string values[] = {"", everyByte, "line\n\n", odd, std::string(65536, '"'), "# no comment", "\\x41"};
    for (size_t i = 0; i < std::size(values); i++)
        ASSERT_EQ(0, set({"o", nullptr, std::to_string(i).c_str()}, values[i]));
    ASSERT_EQ(0, set({"an object", "with/slash \"and\" quote", "f\ti", "q", "v=1 #\n"}, "odd names"));
    ASSERT_EQ(0, set({"#", "i", "-"}, "-"));
    for (const char *radio : {"wlan0", "wlan1", ""})
        ASSERT_EQ(0, set({"vap", "ap0", "vlan-id", "radio", radio}, std::string("of ") + radio));
    ASSERT_EQ(0, set({"vap", "ap0", "radio"}, "wlan0")) << "answers a qualifier that has a row of its own";
    const std::string before = contents();
    const Result dump = runCtl({"dump"});
    EXPECT_EQ(0, dump.iStatus);
    EXPECT_THAT(dump.strOut, testing::StartsWith("# lsqlctl dump, format 1\n\"#/i\" \"-\" \"-\"\n"));
    EXPECT_THAT(dump.strOut, HasSubstr("o 2 \"line\\n\\n\"\no 3 \"" + letters + "\\xc2\\x9b \\xed\\xa0\\x80\"\n"));

    const Name added = {"added", nullptr, "f"};
    ASSERT_EQ(0, write({{added, "stays"}}, LSQLSTORE_REPLACE));
    EXPECT_EQ(0, runCtl({"load", "-"}, dump.strOut).iStatus);
    EXPECT_EQ(0, unset(added));
    EXPECT_EQ(before, contents()) << "where no row stood yet";
    ASSERT_EQ(0, write({{added, "goes"}, {{"o", nullptr, "0"}, "changed"}}));
    EXPECT_EQ(0, runCtl({"load", "--replace", "-"}, dump.strOut).iStatus);
    EXPECT_EQ(before, contents());
}

TEST_F(Lsqlctl, LoadsWhatPeopleWrite)
{
    const std::string file = m_folder + "/file";
    writeFile(file, "\n  # note\r\n\to f  bare # comment\n  \to/i g \"q=\\x76\" \"\\t\"\r\no/i h last");
    const Result load = runCtl({"load", file});
    EXPECT_EQ(0, load.iStatus) << load.strErr;
    EXPECT_EQ("o.f=bare\no/i.h=last\no/i[q=v].g=\t\n", contents());
}

TEST_F(Lsqlctl, LoadsAllOrNothingAndNamesTheLine)
{
    ASSERT_EQ(0, set({"o", nullptr, "f"}, "before"));
    const std::pair<std::string, const char *> cases[] = {
        {"o f", "too few words"},
        {"o f q=v w x", "too many words"},
        {"\"o\"/i f q=\"v\" x", "a blank is missing behind a closing quote"},
        {"o f two words", "not QFIELD=QVALUE"},
        {"o f \"open", "closing quote is missing"},
        {"o f \"\\q\"", "unknown escape"},
        {"o f \"\\x4\"", "unknown escape"},
        {"o f \"a\\x00b\"", "unknown escape"},
        {"o f a\"b", "middle of a word"},
        {std::string("o f \0", 5) + "v", "NUL byte"},
        {"o/ f v", "the instance is empty"},
        {"new g v", "given twice"},
    };
    for (const auto &[line, problem] : cases) {
        const Result load = runCtl({"load", "-"}, "new g 1\n# two\n" + line + "\nnew h 2\n");
        EXPECT_EQ(1, load.iStatus) << line;
        EXPECT_THAT(load.strErr, testing::StartsWith("lsqlctl: standard input:3: ")) << line;
        EXPECT_THAT(load.strErr, HasSubstr(problem));
        EXPECT_EQ("o.f=before\n", contents()) << line;
    }
    EXPECT_THAT(runCtl({"load", m_folder + "/none"}).strErr, HasSubstr("/none: No such file"));
}

TEST_F(Lsqlctl, WatchPrintsChangesUntilItIsEnded)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        Program watch([] { return execCtl({"watch"}); });
        const std::string head = "# watching; changes follow\n";
        EXPECT_TRUE(eventually([&] { return watch.out() == head; }));
        EXPECT_EQ(0, set({"o", "i", "f", "q", "v"}, "two\nlines"));
        EXPECT_EQ(0, unset({"o", "i", "f", "q", "v"}));
        const std::string expected = head + "o/i f q=v \"two\\nlines\"\n- o/i f q=v\n";
        EXPECT_TRUE(eventually([&] { return watch.out() == expected; })) << watch.out();
        watch.signal(signal);
        EXPECT_EQ(0, watch.status());
    }
}

} // namespace
