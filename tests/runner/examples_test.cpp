// The examples in the help are calls that work as they stand, on the command line and in scripts.

#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QImage>
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

/// A folder with the files that examples name.
class Examples : public testing::Test
{
protected:
    Examples()
    {
        for (const char* file : {"text.txt", "login.zs"})
            std::ofstream(m_path + '/' + file) << "wait 0\n";
        std::filesystem::create_directory(m_path + "/tests");
        std::ofstream(m_path + "/tests/login.zs") << "wait 0\n";
        std::ofstream(m_path + "/letter.txt") << "Dear reader,\n";
        for (const char* file : {"logged-in.png", "dialog.png"})
            QImage(1, 1, QImage::Format_RGB32).save(m_folder.filePath(QLatin1String(file)));
        std::ofstream(m_path + "/test.zrle", std::ios::binary).write(recording, sizeof recording);
    }

    /// Runs a call there, with the programs that stand beside the command in its examples.
    Outcome run(const std::string& call) const
    {
        return shell("set -o pipefail; cd " + m_path
            + "; zendra() { \"$zendra\" \"$@\"; }; display() { cat; }\n" + call);
    }

    const QTemporaryDir m_folder;
    const std::string m_path = m_folder.path().toStdString();
};

TEST_F(Examples, AreUnderstood)
{
    const Words names = commandNames();
    EXPECT_GE(names.size(), 15U);
    for (const std::string& name : names) {
        const Words examples = examplesOf(name);
        EXPECT_FALSE(examples.empty()) << name;
        for (const std::string& example : examples) {
            EXPECT_THAT(example, testing::HasSubstr("zendra ")) << name;
            expectUnderstood(run(example), example);
        }
    }
}

} // namespace

} // namespace Zendra::Tests
