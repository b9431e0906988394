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

private:
    QTemporaryDir m_folder;
};

} // namespace

TEST_F(PluginLoader, SaysWhyAFileIsNotAPlugin)
{
    QFile prose(path("prose.so"));
    ASSERT_TRUE(prose.open(QIODevice::WriteOnly));
    prose.write("This is prose.\n");
    prose.close();
    ASSERT_TRUE(QFile::copy(QStringLiteral(NO_ENTRY_MODULE), path("noentry.so")));

    const XServer server;
    const std::pair<const char*, std::string> plugins[] = {{"absent", text(path("absent.so"))},
        {"prose", "cannot be loaded"}, {"noentry", "noentryPlatformPlugin"}};
    for (const auto& [name, reason] : plugins) {
        const std::string error = errorOf(name, server.displayName().c_str());
        EXPECT_NE(error.find(reason), std::string::npos) << error;
    }
}

TEST_F(PluginLoader, DoesNotCallAPluginForADisplayThatCannotBeOpened)
{
    ASSERT_TRUE(QFile::copy(QStringLiteral(ABORTING_MODULE), path("aborting.so")));
    EXPECT_EQ(errorOf("aborting", ":4711"), "Cannot open display ':4711'");
}
