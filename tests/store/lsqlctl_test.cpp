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

const char *const HEADER = "# lsqlctl dump, format 1\n";

TEST_F(Lsqlctl, AnswersOnTheCommandLine)
{
    // In this order, on one store.
    struct {
        std::vector<std::string> arguments;
        int code;
        std::string out;
        const char *err;
    } const cases[] = {
        {{}, 2, "", "a command is missing; lsqlctl --help"},
        {{"frob"}, 2, "", "no command \"frob\""},
        {{"get", "o"}, 2, "", "usage: lsqlctl get OBJECT[/INSTANCE] FIELD"},
        {{"get", "o", "f", "noequals"}, 2, "", "write QFIELD=QVALUE"},
        {{"dump", "file"}, 2, "", "usage"},
        {{"load", "--replace"}, 2, "", "usage: lsqlctl load [--replace] FILE"},
        {{"get", "o", "f"}, 1, "", "no store in this folder yet"},
        {{"set", "o", "f", "value"}, 0, "", ""},
        {{"set", "o/i", "f", "--x"}, 0, "", ""},
        {{"set", "o/i", "f", "q=a=b", "qualified"}, 0, "", ""},
        {{"set", "o/i", "f", "noequals", "v"}, 2, "", "write QFIELD=QVALUE"},
        {{"set", "o/", "f", "v"}, 1, "", "cannot write o/ f: the instance is empty"},
        {{"get", "o", "f"}, 0, "value\n", ""},
        {{"get", "o/i", "f"}, 0, "--x\n", ""},
        {{"get", "o/i", "f", "q=a=b"}, 0, "qualified\n", ""},
        {{"get", "o/i", "g"}, 3, "", "there is no field o/i g"},
        {{"list"}, 0, "o\no/i\no/i q=a=b\n", ""},
        {{"list", "o"}, 0, "o f \"value\"\no/i f \"--x\"\no/i f q=a=b \"qualified\"\n", ""},
        {{"list", "p"}, 3, "", "no object \"p\""},
        {{"unset", "o/i", "f", "q=a=b"}, 0, "", ""},
        {{"unset", "o/i", "f", "q=a=b"}, 3, "", "cannot remove o/i f q=a=b: there is no such field"},
        {{"dump"}, 0, HEADER + std::string("o f \"value\"\no/i f \"--x\"\n"), ""},
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
    const Result help = runCtl({"--help"});
    EXPECT_EQ(0, help.iStatus);
    for (const char *command : {"get", "set", "unset", "list", "dump", "load", "watch", "LSQLQUERY_DB"})
        EXPECT_THAT(help.strOut, HasSubstr(command));
}

TEST_F(Lsqlctl, OutputThatDoesNotArriveIsAFailure)
{
    ASSERT_EQ(0, set({"o", nullptr, "f"}, "v"));
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
    ASSERT_EQ(0, set({"-", "-", "-"}, "-"));
    for (const char *radio : {"wlan0", "wlan1", ""})
        ASSERT_EQ(0, set({"vap", "ap0", "vlan-id", "radio", radio}, std::string("of ") + radio));
    ASSERT_EQ(0, set({"vap", "ap0", "radio"}, "wlan0")) << "answers a qualifier that has a row of its own";
    const std::string before = contents();
    const Result dump = runCtl({"dump"});
    EXPECT_EQ(0, dump.iStatus);
    EXPECT_THAT(dump.strOut, HasSubstr("o 2 \"line\\n\\n\"\no 3 \"" + letters + "\\xc2\\x9b \\xed\\xa0\\x80\"\n"));

    ASSERT_EQ(0, set({"o", nullptr, "0"}, "changed"));
    ASSERT_EQ(0, set({"added", nullptr, "f"}, "stays"));
    EXPECT_EQ(0, runCtl({"load", "-"}, dump.strOut).iStatus);
    EXPECT_EQ("added.f=stays\n", contents("added"));
    EXPECT_EQ(0, runCtl({"load", "--replace", "-"}, dump.strOut).iStatus);
    EXPECT_EQ(before, contents());
    ASSERT_EQ(0, write({}, LSQLSTORE_REPLACE));
    EXPECT_EQ(0, runCtl({"load", "-"}, dump.strOut).iStatus);
    EXPECT_EQ(before, contents()) << "into an empty store, where no row stands yet";
    EXPECT_EQ(dump.strOut, runCtl({"dump"}).strOut);
}

TEST_F(Lsqlctl, LoadsWhatPeopleWrite)
{
    const std::string good = "o f bare # comment\n  \to/i g \"q=\\x76\" \"\\t\"\r\no/i h last";
    writeFile(m_folder + "/file", "\n  # another\r\n\to   f  of-file # trailing\r\n");
    EXPECT_EQ(0, runCtl({"load", m_folder + "/file"}).iStatus);
    EXPECT_EQ("o.f=of-file\n", contents());
    const Result load = runCtl({"load", "-"}, good);
    EXPECT_EQ(0, load.iStatus) << load.strErr;
    EXPECT_EQ("o.f=bare\no/i.h=last\no/i[q=v].g=\t\n", contents());
}

TEST_F(Lsqlctl, LoadsAllOrNothingAndNamesTheLine)
{
    ASSERT_EQ(0, set({"o", nullptr, "f"}, "before"));
    struct {
        std::string line;
        const char *problem;
    } const cases[] = {
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
        {"o f =v v", "qualifier's field is empty"},
        {"o " + std::string(600, 'f') + " v", "506 bytes"},
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
    writeFile(m_folder + "/file", "o f 1\no f\n");
    EXPECT_THAT(runCtl({"load", m_folder + "/file"}).strErr, HasSubstr("/file:2: "));
}

TEST_F(Lsqlctl, WatchPrintsChangesUntilItIsEnded)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        Program watch([] { return execCtl({"watch"}); });
        const std::string head = "# watching; changes follow\n";
        EXPECT_TRUE(eventually([&] { return watch.out() == head; }));
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(0, set({"o", "i", "f", "q", "v"}, "two\nlines"));
        EXPECT_EQ(0, unset({"o", "i", "f", "q", "v"}));
        const std::string line = "o/i f q=v \"two\\nlines\"\n";
        const std::string expected = head + line + line + "- o/i f q=v\n";
        EXPECT_TRUE(eventually([&] { return watch.out() == expected; })) << watch.out();
        watch.signal(signal);
        EXPECT_EQ(0, watch.status());
    }
}

} // namespace
