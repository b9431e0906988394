// The command 'screenshot': files, pixels, and what becomes of files that cannot be written.

#include <filesystem>
#include <fstream>
#include <iterator>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QImage>
#include <QTemporaryDir>

#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

std::string contentOf(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class Screenshots : public testing::Test
{
protected:
    Screenshots() { m_connection.fill(0x123456, 15, 30, 10, 20); }

    std::string path(const char* name) const { return m_folder.filePath(QLatin1String(name)).toStdString(); }

    QImage taken(const char* name, const Words& options = {}) const
    {
        Words words {"screenshot", path(name)};
        words.insert(words.end(), options.begin(), options.end());
        expectDone(zendra(m_server, words));
        return QImage(m_folder.filePath(QLatin1String(name))).convertToFormat(QImage::Format_RGB32);
    }

    /// What is in the folder.
    Words files() const
    {
        Words names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.path().toStdString()))
            names.push_back(entry.path().filename());
        return names;
    }

    const QTemporaryDir m_folder;
    const XServer m_server {withScreens({"120x90x24"})};
    const Connection m_connection {m_server};
};

TEST_F(Screenshots, TheFileExtensionSelectsTheFormat)
{
    const std::pair<const char*, const char*> formats[]
        = {{"a.png", "\x89PNG\r\n\x1a\n"}, {"a.PNG", "\x89PNG\r\n\x1a\n"}, {"a.jpg", "\xff\xd8\xff"},
            {"a.jpeg", "\xff\xd8\xff"}, {"a.bmp", "BM"}};
    for (const auto& [name, signature] : formats) {
        EXPECT_EQ(taken(name).size(), QSize(120, 90)) << name;
        EXPECT_THAT(contentOf(path(name)), testing::StartsWith(signature));
    }
    EXPECT_EQ(files().size(), 5U);
    expectFailure(zendra({"screenshot", "a.gif"}), 2, "Unsupported file extension of 'a.gif'");
    expectFailure(zendra({"screenshot", "png"}), 2, "Unsupported file extension of 'png'");
}

TEST_F(Screenshots, ShowAPartOfTheScreen)
{
    const QImage part = taken("a.png", {"--area", "10,20,30,40"});
    EXPECT_EQ(part.pixel(5, 10), 0xff123456);
    EXPECT_EQ(part, taken("b.bmp").copy(10, 20, 30, 40));
    expectFailure(zendra(m_server, {"screenshot", "--area", "120,0,5,5", path("d.png")}), 1,
        "Specified area lies outside the desktop bounds");
    EXPECT_EQ(files().size(), 2U);
}

TEST_F(Screenshots, GoToStandardOutputToo)
{
    taken("a.png");
    expectDone(zendra(m_server, {"screenshot", "-"}), contentOf(path("a.png")));
}

TEST_F(Screenshots, InJsonNameTheirFile)
{
    const std::string file = path("a.png");
    expectDone(zendra(m_server, {"--json", "screenshot", file}),
        "{\"file\":\"" + file + "\",\"height\":90,\"width\":120}\n");
    const Outcome outcome = zendra(m_server, {"--json", "screenshot", "-"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.error, "");
    EXPECT_THAT(outcome.output, testing::StartsWith("{\"error\":\"--json cannot be combined with a picture"));
}

TEST_F(Screenshots, ReplaceAFileAsAWholeOrNotAtAll)
{
    std::ofstream(path("old.bmp")) << "old";
    taken("real.png");
    std::filesystem::create_symlink("real.png", path("link.png"));

    // Half a picture fits.
    expectFailure(shell(m_server, "ulimit -f 16; \"$zendra\" screenshot " + path("old.bmp")), 1,
        "Cannot write '" + path("old.bmp") + "': File too large");
    EXPECT_EQ(contentOf(path("old.bmp")), "old");

    EXPECT_FALSE(taken("old.bmp").isNull());
    EXPECT_FALSE(taken("link.png", {"--area", "0,0,9,9"}).isNull());
    EXPECT_TRUE(std::filesystem::is_symlink(path("link.png")));
    EXPECT_EQ(QImage(QString::fromStdString(path("real.png"))).width(), 9);
    EXPECT_THAT(files(), testing::UnorderedElementsAre("old.bmp", "real.png", "link.png"));
}

TEST_F(Screenshots, TellWhereTheyCannotBeWritten)
{
    std::ofstream(path("file")) << "no folder";
    std::filesystem::create_directory(path("folder.png"));
    expectFailure(zendra(m_server, {"screenshot", "/proc/a.png"}), 1, "Cannot write '/proc/a.png': ");
    expectFailure(zendra(m_server, {"screenshot", path("none/a.png")}), 1, "No such file or directory");
    expectFailure(zendra(m_server, {"screenshot", path("file/a.png")}), 1, "Not a directory");
    expectFailure(zendra(m_server, {"screenshot", path("folder.png")}), 1, "Is a directory");
    EXPECT_THAT(files(), testing::UnorderedElementsAre("file", "folder.png"));
}

TEST_F(Screenshots, GoIntoPipesAndDevicesAsTheyAre)
{
    ASSERT_EQ(mkfifo(path("pipe.png").c_str(), 0600), 0);
    const Outcome outcome = shell(
        m_server, "cat " + path("pipe.png") + "& \"$zendra\" screenshot " + path("pipe.png") + "; wait");
    taken("a.png");
    expectDone(outcome, contentOf(path("a.png")));

    std::filesystem::create_symlink("/dev/full", path("full.png"));
    expectFailure(zendra(m_server, {"screenshot", path("full.png")}), 1,
        "Cannot write '" + path("full.png") + "': No space left on device");
    EXPECT_TRUE(std::filesystem::is_fifo(path("pipe.png")));
}

} // namespace

} // namespace Zendra::Tests
