// The plug-in as a host sees it: one symbol, one record, and a connection that is closed by deferred
// deletion.

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include <zendra/nativeinterface.h>
#include <zendra/pluginloader.h>
#include <zendra/widgethighlighter.h>

#include "eventwindow.h"
#include "wait.h"
#include "wiretap.h"

#include <unistd.h>

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

TEST_F(Plugin, ReportsAServerThatHasGoneAway)
{
    // Servers of tests that run at the same time take the lowest number that is free.
    XServer::Options options;
    options.arguments = {':' + std::to_string(20000 + getpid() % 30000)};
    auto gone = std::make_unique<XServer>(options);
    static Display* display
        = XOpenDisplay(gone->displayName().c_str()); // not closed: Xlib would end the process
    gone.reset();
    const LoadedPlatform loaded = loadPlatform(QStringLiteral("xlib"), {nullptr, display, false});
    EXPECT_EQ(loaded.plugin, nullptr);
    EXPECT_EQ(
        text(loaded.errorText), "The platform plug-in 'xlib' cannot start: Failed opening Xlib display");
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
    EXPECT_EQ(text(plugin->name()), "xlib");
    EXPECT_EQ(plugin->windowManager().windowManager, nullptr);
    EXPECT_EQ(text(plugin->windowManager().errorText), "");
    EXPECT_EQ(plugin->nativeInterface(), plugin->nativeInterface());
    plugin->widgetHighlighter()->setGeometry({1, 2, 30, 40, -1});
    plugin->widgetHighlighter()->show();
    plugin->nativeInterface()->supressFlush(false); // all is on the server now
    EXPECT_EQ(observer.windows().size(), 5U);
    plugin.reset();
    EXPECT_EQ(observer.windows().size(), 5U);
    runDeferredDeletions();
    EXPECT_TRUE(waitFor([&observer] { return observer.windows().empty(); }));
}

TEST_F(Plugin, SurvivesASecondOneAndRectanglesWithoutASize)
{
    // X errors end the process here, as they do in most hosts.
    for (int round = 0; round < 3; ++round) {
        std::unique_ptr<PlatformPlugin> first = load(server.displayName().c_str());
        std::unique_ptr<PlatformPlugin> second = load(server.displayName().c_str());
        for (PlatformPlugin* plugin : {first.get(), second.get()}) {
            WidgetHighlighter& highlighter = *plugin->widgetHighlighter();
            for (const Rect& rect :
                {Rect {1, 2, 0, 40, -1}, Rect {1, 2, 30, 0, -1}, Rect {1, 2, 65536, 0, -1}})
                highlighter.setGeometry(rect);
            highlighter.setToolTip(QStringLiteral("Save %1").arg(round));
            highlighter.setToolTipMode(WidgetHighlighter::FollowPointer);
            highlighter.show();
            plugin->nativeInterface()->supressFlush(false);
            EXPECT_TRUE(highlighter.isVisible());
        }
        unload(std::move(first));
        unload(std::move(second));
    }
}
