// Scripts with variables, programs and endings, and scripts as tests, several at a time.

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include "wait.h"
#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

using testing::HasSubstr;
using testing::Not;

class Suites : public testing::Test
{
protected:
    std::string path(const std::string& name) const { return m_folder.path().toStdString() + '/' + name; }

    void write(const std::string& name, const std::string& content) const
    {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream(path(name)) << content;
    }

    std::string read(const std::string& name) const
    {
        std::ifstream file(path(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    Outcome script(const std::string& content, Words options = {}) const
    {
        write("script.zs", content);
        Words words {"script"};
        words.insert(words.end(), options.begin(), options.end());
        words.push_back(path("script.zs"));
        return zendra(m_server, words);
    }

    const XServer m_server;

private:
    const QTemporaryDir m_folder;
};

TEST_F(Suites, VariablesComeFromTheScriptTheCommandLineAndTheEnvironment)
{
    const EnvironmentVariable variable("ZENDRA_TEST_X", "11");
    write("part.zs", "set Y 22\nwarp $ZENDRA_TEST_X ${Y}\n");
    expectDone(
        script(
            "include part.zs\nwhere\nset Y \"${Z}3\"\nwarp 5 \"$Y\"\nwhere\nstep '$Y'\nstep \"5 \\$Y $\"\n",
            {"--set", "Z=1", "--set", "Z=4"}),
        "11 22\n5 43\n$Y\n5 $Y $\n");
    write("part.zs", "warp 1 1\n\nwarp $NONE 1\n");
    const Outcome wrong = script("include none.zs\ninclude part.zs\nset 1 2\ninclude script.zs\n");
    EXPECT_EQ(wrong.status, 2);
    for (const char* text :
        {"part.zs:3: There is no variable 'NONE'", "script.zs:3: Not the name of a variable",
            "script.zs' includes itself", "script.zs:1: Cannot read the script"})
        EXPECT_THAT(wrong.error, HasSubstr(text));
}

TEST_F(Suites, EndingsRunAfterAFailureAndProgramsEndWithTheScript)
{
    const Outcome failed
        = script("on-failure step bad\nfinally step end\nfinally exec 'exit 3'\n"
                 "start sleep 4711\nexec 'pgrep -fx \"sleep 4711\" >/dev/null'\n"
                 "exec 'kill -SEGV $(pgrep -fx \"sleep 4711\")'\n"
                 "exec 'while pgrep -fx \"sleep 4711\" >/dev/null; do :; done'\nstep never\n");
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.output, "bad\nend\n");
    EXPECT_THAT(failed.error, HasSubstr("script.zs:3: 'exit 3' ended with status 3\n"));
    EXPECT_THAT(failed.error, HasSubstr("'sleep' was ended by signal 11"));
    expectDone(
        script("on-failure step bad\nfinally step end\nstart sleep 4712\nstart sleep 4713\n"), "end\n");
    EXPECT_EQ(shell("pgrep -fx 'sleep 471[23]'").output, "");
}

TEST_F(Suites, AHookedProgramIsDrivenFromInside)
{
    write("hooked.zs",
        "start --hook " ZENDRA_EXAMPLE_FORM "\ntype Ada\nkeys '<Ctrl+a><Ctrl+c>'\n"
        "expect-clipboard Ada\n");
    const Outcome outcome = zendra({"--headless", "script", path("hooked.zs")});
    EXPECT_EQ(outcome.status, 0) << outcome.error;
}

TEST_F(Suites, TestsRunSideBySideAndAreReported)
{
    write("suite/good.zs", "start sleep 4714\nexec 'test -d \"$HOME\" && test \"$(ls \"$HOME\")\" = \"\"'\n");
    write("suite/deep/bad.zs", "step one\nwait-window none --timeout 0.1\n");
    write("suite/crash.zs", "start sh -c 'kill -ABRT $$'\nwait-window none --timeout 0.2\n");
    write("late.zs", "start sleep 4715\nwait 60000\n");
    write(
        "suite/flaky.zs", "exec 'test -e " + path("seen") + " || { touch " + path("seen") + "; false; }'\n");
    const Outcome outcome
        = zendra({"test", "-j", "5", "--retry", "1", "--junit", path("junit.xml"), path("suite")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.error, "");
    for (const char* text : {"passed     good (", "failed     deep/bad (", "failed     crash (",
             "flaky      flaky (", "  | wait-window none --timeout 0.1\n", "'sh' was ended by signal 6",
             "\n2 passed, 2 failed, 1 flaky in "})
        EXPECT_THAT(outcome.output, HasSubstr(text));
    EXPECT_THAT(
        zendra({"test", "--timeout", "1", path("late.zs")}).output, HasSubstr("It took longer than 1 s"));
    EXPECT_EQ(shell("pgrep -fx 'sleep 471[45]'").output, "");
    // As a parser that is not ours reads it.
    expectDone(
        shell(
            "python3 -c 'import sys, xml.etree.ElementTree as tree\n"
            "suite = tree.parse(sys.argv[1]).getroot().find(\"testsuite\")\n"
            "print(suite.get(\"tests\"), suite.get(\"failures\"), len(suite.findall(\"testcase/failure\")))\n' "
            + path("junit.xml")),
        "4 2 2\n");
}

TEST_F(Suites, PartsOfASuiteAreChosen)
{
    for (const char* name : {"a", "b", "sub/c", "sub/d"})
        write(std::string("suite/") + name + ".zs",
            "exec 'echo " + std::string(name) + " >>" + path("ran") + "'\n");
    const auto ran = [&](Words options) {
        std::filesystem::remove(path("ran"));
        Words words {"--display", m_server.displayName(), "test", path("suite")};
        words.insert(words.end(), options.begin(), options.end());
        EXPECT_EQ(zendra(words).status, 0);
        return read("ran");
    };
    EXPECT_EQ(ran({}), "a\nb\nsub/c\nsub/d\n");
    EXPECT_EQ(ran({"--filter", "sub*"}), "sub/c\nsub/d\n");
    EXPECT_EQ(
        ran({"--shard", "1/3"}) + ran({"--shard", "2/3"}) + ran({"--shard", "3/3"}), "a\nsub/d\nb\nsub/c\n");
    EXPECT_EQ(ran({"--shuffle=7"}), ran({"--shuffle=7"}));
    EXPECT_EQ(ran({"--check"}), "");
    write("suite/b.zs", "clik 3\n");
    write("suite/e.zs", "warp\n");
    const Outcome wrong = zendra({"test", "--check", path("suite")});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.error, testing::AllOf(HasSubstr("b.zs:1: Unknown command"), HasSubstr("e.zs:1: ")));
    // What was done before Ctrl+C is reported.
    write("suite/a.zs", "exec 'kill -INT $(ps -o ppid= -p $PPID)'\n");
    write("suite/b.zs", "wait 60000\n");
    const Outcome interrupted = zendra({"test", "-j", "1", "--junit", path("junit.xml"), path("suite")});
    EXPECT_EQ(interrupted.status, 1);
    EXPECT_THAT(interrupted.output, HasSubstr(" not run in "));
    EXPECT_THAT(read("junit.xml"), HasSubstr("</testsuites>"));
    write("suite/a.zs", "exec false\n");
    EXPECT_THAT(zendra({"test", "-j", "1", "--fail-fast", path("suite")}).output,
        HasSubstr("0 passed, 1 failed, 4 not run"));
}

} // namespace

} // namespace Zendra::Tests
