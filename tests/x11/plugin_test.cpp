// The plug-in as a host sees it: one symbol, one record, and a connection that goes when its time has come.

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include <zendra/nativeinterface.h>
#include <zendra/pluginloader.h>
#include <zendra/widgethighlighter.h>

#include "eventwindow.h"
#include "wait.h"
#include "wiretap.h"

#include <X11/Xlib.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

class Plugin : public ::testing::Test
{
protected:
    void SetUp() override { qputenv("ZENDRA_PLUGIN_PATH", PLUGIN_FOLDER); }

    static std::unique_ptr<PlatformPlugin> load(const char* displayName, Display* display = nullptr)
    {
        LoadedPlatform loaded = loadPlatform(QStringLiteral("xlib"), {displayName, display, false});
        EXPECT_EQ(text(loaded.errorText), "");
        return std::move(loaded.plugin);
    }

    /// Deletes the plug-in and leaves nothing of it behind.
    static void unload(std::unique_ptr<PlatformPlugin> plugin)
    {
        plugin.reset();
        runDeferredDeletions();
    }

    XServer server;
};

} // namespace

TEST_F(Plugin, ExportsItsEntryFunctionAndNothingElse)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> nm(
        popen("nm -D --defined-only --format=just-symbols " PLUGIN_FOLDER "/xlib.so", "r"), &pclose);
    ASSERT_NE(nm, nullptr);
    std::string symbols;
    char line[1000];
    while (std::fgets(line, sizeof line, nm.get()) != nullptr)
        symbols += line;
    EXPECT_EQ(symbols, "xlibPlatformPlugin\n");
}

TEST_F(Plugin, HandsOutItsServices)
{
    std::unique_ptr<PlatformPlugin> plugin = load(server.displayName().c_str());
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(text(plugin->name()), "xlib");
    EXPECT_EQ(plugin->windowManager().windowManager, nullptr);
    EXPECT_EQ(text(plugin->windowManager().errorText), "");
    EXPECT_NE(plugin->nativeInterface(), nullptr);
    EXPECT_EQ(plugin->nativeInterface(), plugin->nativeInterface());
    EXPECT_NE(plugin->widgetHighlighter(), nullptr);
    EXPECT_EQ(plugin->widgetHighlighter(), plugin->widgetHighlighter());
    unload(std::move(plugin));
}

TEST_F(Plugin, LeavesAGivenConnectionAloneAndOpensASecondOne)
{
    const Connection application(server);
    EventWindow window(server);
    WireTap tap(server, application);
    std::unique_ptr<PlatformPlugin> plugin
        = load(":4711", application); // the connection goes before the name
    ASSERT_NE(plugin, nullptr);
    plugin->nativeInterface()->pointerMove({12, 34, -1});
    plugin->widgetHighlighter()->setGeometry({1, 2, 30, 40, -1});
    EXPECT_EQ(window.take(1), (Lines {"Motion @12,34 state=0"}));
    EXPECT_EQ(tap.finish(), Lines {});
    unload(std::move(plugin));
}

TEST_F(Plugin, ClosesItsConnectionInTheEventLoop)
{
    const Connection observer(server);
    std::unique_ptr<PlatformPlugin> plugin = load(server.displayName().c_str());
    ASSERT_NE(plugin, nullptr);
    plugin->widgetHighlighter()->setGeometry({1, 2, 30, 40, -1});
    plugin->widgetHighlighter()->show();
    plugin->nativeInterface()->supressFlush(false); // all is on the server now
    EXPECT_EQ(observer.windows().size(), 5U);
    plugin.reset();
    EXPECT_EQ(observer.windows().size(), 5U);
    runDeferredDeletions();
    EXPECT_TRUE(waitFor([&observer] { return observer.windows().size() == 0; }));
}
