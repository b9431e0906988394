// The examples in the help are calls that work as they stand, on the command line and in scripts.

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

Words linesOf(const std::string& text)
{
    std::istringstream stream(text);
    Words lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

Words commandNames()
{
    return linesOf(zendra({"--complete", ""}).output);
}

/// What the help of a command lists below its heading "Examples".
Words examplesOf(const std::string& command)
{
    const std::string help = zendra({command, "--help"}).output;
    const std::string heading = "\nExamples\n";
    Words examples = linesOf(help.substr(help.find(heading) + heading.size()));
    for (std::string& example : examples)
        example.erase(0, 2);
    return examples;
}

/// A black screen of 16x16 pixels; the last byte is the one that ends the text.
constexpr char recording[] = "\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\20\0\0\0\20\0\1\0\0\0\1\0\0"
                             "\0\0\0\2\0\0\0\0\0\0\0\1\0\0\0\0"
                             "\0\0\0\0\0\0\0\0\0\0\0\20\0\0\0\20\0\0\1";

/// Without a display a call that was understood says so, unless it needs none.
void expectUnderstood(const Outcome& outcome, const std::string& call)
{
    EXPECT_TRUE(outcome.status == 0 || outcome.status == 3) << call << '\n' << outcome.error;
}

TEST(Examples, AreUnderstood)
{
    const QTemporaryDir folder;
    const std::string path = folder.path().toStdString();
    for (const char* file : {"letter.txt", "text.txt", "login.zs"})
        std::ofstream(path + '/' + file) << "wait 0\n";
    std::ofstream(path + "/test.zrle", std::ios::binary).write(recording, sizeof recording);
    // The programs that stand beside the command in its examples.
    const std::string start
        = "set -o pipefail; cd " + path + "; zendra() { \"$zendra\" \"$@\"; }; display() { cat; }\n";
    const Words names = commandNames();
    EXPECT_GE(names.size(), 15U);
    for (const std::string& name : names) {
        const Words examples = examplesOf(name);
        EXPECT_FALSE(examples.empty()) << name;
        for (const std::string& example : examples) {
            EXPECT_THAT(example, testing::HasSubstr("zendra ")) << name;
            expectUnderstood(shell(start + example), example);
        }
    }
}

TEST(Examples, AreUnderstoodInScriptsToo)
{
    std::string script;
    for (const std::string& name : commandNames()) {
        const std::string call = examplesOf(name).front().substr(std::string("zendra ").size());
        EXPECT_EQ(call.rfind(name, 0), 0U) << call;
        if (name != "script")
            script += call + '\n';
    }
    expectUnderstood(ZendraCommand({"script", "-"}, nullptr, script).outcome(), script);
}

} // namespace

} // namespace Zendra::Tests
