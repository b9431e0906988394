// The plug-in inside a Qt application: its connection, its event loop, its windows.

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <iterator>
#include <memory>

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QRasterWindow>
#include <QTimer>
#include <qpa/qplatformnativeinterface.h>

#include <zendra/nativeinterface.h>
#include <zendra/pluginloader.h>
#include <zendra/widgethighlighter.h>

#include "nativeinterface_qt_xlib.h"
#include "receiver.h"
#include "wait.h"
#include "wiretap.h"

#include <X11/Xlib.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

/// Writes down what a user does to it.
class Pad : public QRasterWindow
{
public:
    Lines lines;

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        if (!event->text().isEmpty())
            lines.push_back("key " + event->text().toStdString());
    }
    void mousePressEvent(QMouseEvent* event) override
    {
        lines.push_back("press " + std::to_string(event->button()) + " @" + std::to_string(event->x()) + ','
            + std::to_string(event->y()));
    }
};

/// A Qt application on a server of its own.
class QtVariant : public ::testing::Test
{
protected:
    QtVariant()
    {
        qputenv("DISPLAY", m_server.displayName().c_str());
        qputenv("QT_QPA_PLATFORM", "xcb");
        qputenv("ZENDRA_PLUGIN_PATH", PLUGIN_FOLDER);
        m_application = std::make_unique<QGuiApplication>(m_argumentCount, m_arguments);
    }

    const XServer& server() const { return m_server; }

    static Display* applicationDisplay()
    {
        return static_cast<Display*>(
            QGuiApplication::platformNativeInterface()->nativeResourceForIntegration("display"));
    }

    static std::unique_ptr<PlatformPlugin> load(Display* display = nullptr)
    {
        LoadedPlatform loaded = loadPlatform(QStringLiteral("xlib"), {nullptr, display, true});
        EXPECT_EQ(text(loaded.errorText), "");
        return std::move(loaded.plugin);
    }

private:
    XServer m_server;
    int m_argumentCount = 1;
    char m_name[13] = "qtvariant";
    char* m_arguments[2] = {m_name, nullptr};
    std::unique_ptr<QGuiApplication> m_application;
};

} // namespace

TEST_F(QtVariant, WaitsInTheEventLoop)
{
    QtXlibNativeInterface interface(applicationDisplay());
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&ticks] { ++ticks; });
    timer.start(10);
    QElapsedTimer clock;
    clock.start();
    interface.processEvents(100);
    EXPECT_GE(clock.elapsed(), 90); // Qt's coarse timers may be a twentieth early
    EXPECT_GE(ticks, 1);

    timer.stop();
    const std::clock_t processorTime = std::clock();
    interface.processEvents(100); // nothing else wakes it up, and it does not spin
    EXPECT_LT(std::clock() - processorTime, CLOCKS_PER_SEC / 20);
}

TEST_F(QtVariant, UsesTheApplicationsConnection)
{
    const std::unique_ptr<PlatformPlugin> plugin = load();
    ASSERT_NE(plugin, nullptr);
    WireTap tap(server(), applicationDisplay());
    plugin->nativeInterface()->pointerMove({11, 22, -1});
    EXPECT_EQ(tap.finishUnflushed(), (Lines {"XTestGetVersion", "FakeMotion 11,22 root=none"}));
}

TEST_F(QtVariant, TakesAGivenConnectionAndDoesNotCloseIt)
{
    const Connection given(server());
    {
        const std::unique_ptr<PlatformPlugin> plugin = load(given);
        ASSERT_NE(plugin, nullptr);
        WireTap tap(server(), given);
        plugin->nativeInterface()->pointerMove({11, 22, -1});
        EXPECT_EQ(tap.finishUnflushed(), (Lines {"XTestGetVersion", "FakeMotion 11,22 root=none"}));
        plugin->widgetHighlighter()->setGeometry({1, 2, 30, 40, -1});
        plugin->widgetHighlighter()->show();
    }
    runDeferredDeletions();
    given.sync();
}

TEST_F(QtVariant, DrivesTheApplicationFromWithin)
{
    Pad pad;
    pad.setFlag(Qt::X11BypassWindowManagerHint);
    pad.setGeometry(100, 100, 200, 100);
    pad.show();
    ASSERT_TRUE(waitFor([&pad] { return pad.isExposed(); }));
    pad.requestActivate();
    ASSERT_TRUE(waitFor([&pad] { return pad.isActive(); }));

    const std::unique_ptr<PlatformPlugin> plugin = load();
    NativeInterface& native = *plugin->nativeInterface();
    EXPECT_EQ(text(native.sendKeyEventToFocusWindow(QStringLiteral("aB!"))), "");
    EXPECT_EQ(text(native.pointerClick(MouseButton::Left, {130, 120, -1}, NoModifier, 1)), "");
    EXPECT_TRUE(waitFor([&pad] { return pad.lines.size() >= 4; }));
    EXPECT_EQ(pad.lines, (Lines {"key a", "key B", "key !", "press 1 @30,20"}));
}

TEST_F(QtVariant, ModifiersReachTheServerAtOnce)
{
    QtXlibNativeInterface interface(applicationDisplay());
    const Connection other(server());
    for (const bool press : {true, false}) {
        EXPECT_EQ(text(interface.pressReleaseModifiers(ShiftModifier, press)), "");
        EXPECT_TRUE(waitFor([&] {
            char keys[32];
            XQueryKeymap(other, keys);
            return (std::count(std::begin(keys), std::end(keys), '\0') != 32) == press;
        })) << press;
    }
}

TEST_F(QtVariant, RecordsOnAConnectionOfItsOwn)
{
    QtXlibNativeInterface interface(applicationDisplay());
    WireTap tap(server(), applicationDisplay());
    Receiver receiver(interface, 1);
    ASSERT_EQ(receiver.errorText, "");
    ASSERT_TRUE(waitFor([&] { return !receiver.segments.empty(); }));
    EXPECT_EQ(receiver.decoded().size(), QSize(800, 600));
    EXPECT_EQ(tap.finish(), Lines {});
}
