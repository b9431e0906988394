// Loading a platform plug-in by name: what a person reads when it does not work.

#include <gtest/gtest.h>

#include <memory>

#include <QFile>
#include <QTemporaryDir>

#include <zendra/pluginloader.h>

#include "wait.h"
#include "xserver.h"

using namespace Zendra;
using Zendra::Tests::text;
using Zendra::Tests::XServer;

namespace
{

/// Loads plug-ins from a folder of the test's own.
class PluginLoader : public ::testing::Test
{
protected:
    void SetUp() override { qputenv("ZENDRA_PLUGIN_PATH", QFile::encodeName(m_folder.path())); }
    void TearDown() override { qunsetenv("ZENDRA_PLUGIN_PATH"); }

    QString path(const char* fileName) const { return m_folder.filePath(QLatin1String(fileName)); }

    static std::string errorOf(const char* name, const char* displayName)
    {
        const LoadedPlatform loaded = loadPlatform(QLatin1String(name), {displayName, nullptr, false});
        EXPECT_EQ(loaded.plugin, nullptr);
        return text(loaded.errorText);
    }

    static bool contains(const std::string& line, const char* word)
    {
        return line.find(word) != std::string::npos;
    }

private:
    QTemporaryDir m_folder;
};

} // namespace

TEST_F(PluginLoader, LooksInTheFolderThatIsAskedFor)
{
    EXPECT_EQ(text(platformFolder()) + "/x", text(path("x")));
    qunsetenv("ZENDRA_PLUGIN_PATH");
    EXPECT_TRUE(platformFolder().endsWith(QLatin1String("/zendra/platforms"))) << text(platformFolder());
}

TEST_F(PluginLoader, NamesTheFileThatIsMissing)
{
    const XServer server;
    const std::string error = errorOf("absent", server.displayName().c_str());
    EXPECT_TRUE(contains(error, text(path("absent.so")).c_str())) << error;
    EXPECT_TRUE(contains(error, "missing") || contains(error, "no file")) << error;
}

TEST_F(PluginLoader, RefusesAFileThatIsNoSharedObject)
{
    QFile file(path("prose.so"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("This is prose.\n");
    file.close();

    const XServer server;
    const std::string error = errorOf("prose", server.displayName().c_str());
    EXPECT_TRUE(contains(error, "prose.so")) << error;
    EXPECT_TRUE(contains(error, "cannot be loaded")) << error;
}

TEST_F(PluginLoader, RefusesASharedObjectWithoutTheEntryFunction)
{
    ASSERT_TRUE(QFile::copy(QStringLiteral(NO_ENTRY_MODULE), path("noentry.so")));
    const XServer server;
    const std::string error = errorOf("noentry", server.displayName().c_str());
    EXPECT_TRUE(contains(error, "noentryPlatformPlugin")) << error;
}

TEST_F(PluginLoader, DoesNotCallAPluginForADisplayThatCannotBeOpened)
{
    ASSERT_TRUE(QFile::copy(QStringLiteral(ABORTING_MODULE), path("aborting.so")));
    EXPECT_EQ(errorOf("aborting", ":4711"), "Cannot open display ':4711'");
}

TEST(CheckDisplay, AcceptsAServerThatAnswers)
{
    const XServer server;
    EXPECT_EQ(text(checkDisplay(server.displayName().c_str())), "");
    qputenv("DISPLAY", server.displayName().c_str());
    EXPECT_EQ(text(checkDisplay(nullptr)), "");
}

TEST(CheckDisplay, SaysWhichDisplayCannotBeOpened)
{
    EXPECT_EQ(text(checkDisplay(":4711")), "Cannot open display ':4711'");
    EXPECT_TRUE(checkDisplay("nonsense").contains(QLatin1String("'nonsense'")));
    const XServer server;
    EXPECT_NE(text(checkDisplay((server.displayName() + ".3").c_str())), "");
    qputenv("DISPLAY", ":4712");
    EXPECT_EQ(text(checkDisplay(nullptr)), "Cannot open display ':4712'");
    qunsetenv("DISPLAY");
    EXPECT_TRUE(checkDisplay(nullptr).contains(QLatin1String("DISPLAY")));
}

TEST(NullPlatformPlugin, HasNoServicesAndKnowsWhy)
{
    const std::unique_ptr<PlatformPlugin> plugin
        = std::make_unique<NullPlatformPlugin>(QStringLiteral("Nothing there"));
    EXPECT_EQ(plugin->nativeInterface(), nullptr);
    EXPECT_EQ(plugin->widgetHighlighter(), nullptr);
    EXPECT_EQ(plugin->windowManager().windowManager, nullptr);
    EXPECT_EQ(text(static_cast<NullPlatformPlugin&>(*plugin).errorText()), "Nothing there");
}
