// The plug-in as a host drives it, beside the bare requests that its operations cannot do without.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QEvent>

#include <zendra/nativeinterface.h>
#include <zendra/pluginloader.h>

#include "cli/failure.h"
#include "image/imagefile.h"
#include "remote/applications.h"
#include "server.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace
{

Zendra::LoadedPlatform loadPlugin()
{
    Zendra::LoadedPlatform platform = Zendra::loadPlatform(QStringLiteral("xlib"), {});
    if (platform.plugin == nullptr) {
        std::fprintf(stderr, "zendra-bench: %s\n", qPrintable(platform.errorText));
        std::exit(3);
    }
    return platform;
}

/// Those of plug-ins that are gone, which close them by deferred deletion. The X server drops what it has not
/// read when a process just ends: the release of the last key.
void closeConnections()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void openPlugin(benchmark::State& state)
{
    for (auto _ : state) {
        loadPlugin();
        closeConnections();
    }
}

void openBareDisplay(benchmark::State& state)
{
    for (auto _ : state)
        Bench::openDisplay();
}

void type(benchmark::State& state, const QString& keys)
{
    Zendra::LoadedPlatform platform = loadPlugin();
    Zendra::NativeInterface& native = *platform.plugin->nativeInterface();
    for (auto _ : state)
        native.sendKeyEventToFocusWindow(keys);
    platform.plugin.reset();
    closeConnections();
    state.SetItemsProcessed(state.iterations() * keys.size());
}

/// The round trips of typing and the key events themselves, with nothing in between.
void typeBare(benchmark::State& state, int length)
{
    const Bench::DisplayPointer display = Bench::openDisplay();
    const KeyCode key = XKeysymToKeycode(display.get(), XK_a);
    for (auto _ : state) {
        Window focus = None;
        int revert = 0;
        XGetInputFocus(display.get(), &focus, &revert);
        for (int i = 0; i < length; ++i) {
            for (const Bool press : {True, False}) {
                Bench::roundTrip(display.get());
                XTestFakeKeyEvent(display.get(), key, press, 0);
                XFlush(display.get());
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * length);
}

void movePointer(benchmark::State& state)
{
    const Zendra::LoadedPlatform platform = loadPlugin();
    Zendra::NativeInterface& native = *platform.plugin->nativeInterface();
    int x = 0;
    for (auto _ : state)
        native.pointerMove({x = (x + 1) % 500, 100});
}

void movePointerBare(benchmark::State& state)
{
    const Bench::DisplayPointer display = Bench::openDisplay();
    int x = 0;
    for (auto _ : state) {
        Bench::roundTrip(display.get());
        XTestFakeMotionEvent(display.get(), -1, x = (x + 1) % 500, 100, 0);
        XFlush(display.get());
    }
}

/// By a call of the hook in the application whose process id ZENDRA_BENCH_APP is.
void movePointerRemotely(benchmark::State& state)
{
    std::unique_ptr<Zendra::Runner::RemotePlatform> application;
    try {
        application = Zendra::Runner::connectToApplication(qEnvironmentVariable("ZENDRA_BENCH_APP"), -1);
    } catch (const Zendra::Runner::Failure& failure) {
        state.SkipWithError(qPrintable(failure.text()));
        return;
    }
    Zendra::NativeInterface& native = *application->nativeInterface();
    int x = 0;
    for (auto _ : state)
        native.pointerMove({x = (x + 1) % 500, 100});
    if (!application->disconnectReason().isEmpty())
        state.SkipWithError(qPrintable(application->disconnectReason()));
}

void queryPointer(benchmark::State& state)
{
    const Bench::DisplayPointer display = Bench::openDisplay();
    Window window = None;
    int place = 0;
    unsigned int pressed = 0;
    for (auto _ : state) {
        XQueryPointer(display.get(), DefaultRootWindow(display.get()), &window, &window, &place, &place,
            &place, &place, &pressed);
    }
}

Zendra::Screenshot grabScreen(Zendra::NativeInterface& native)
{
    return native.desktopScreenshot({0, 0, -1, -1}, 0);
}

void grab(benchmark::State& state)
{
    const Zendra::LoadedPlatform platform = loadPlugin();
    Zendra::NativeInterface& native = *platform.plugin->nativeInterface();
    for (auto _ : state)
        benchmark::DoNotOptimize(grabScreen(native).image.constBits());
}

/// The pixels on their way from the server, and into memory that their user keeps.
void grabBare(benchmark::State& state)
{
    const Bench::DisplayPointer display = Bench::openDisplay();
    const int screen = DefaultScreen(display.get());
    const auto width = static_cast<unsigned>(DisplayWidth(display.get(), screen));
    const auto height = static_cast<unsigned>(DisplayHeight(display.get(), screen));
    for (auto _ : state) {
        XImage* image = XGetImage(
            display.get(), RootWindow(display.get(), screen), 0, 0, width, height, AllPlanes, ZPixmap);
        const auto size = static_cast<size_t>(image->bytes_per_line) * height;
        const std::unique_ptr<char[]> copy(new char[size]);
        std::memcpy(copy.get(), image->data, size);
        benchmark::DoNotOptimize(copy.get());
        benchmark::ClobberMemory();
        XDestroyImage(image);
    }
}

void encode(benchmark::State& state)
{
    const Zendra::LoadedPlatform platform = loadPlugin();
    const QImage image = grabScreen(*platform.plugin->nativeInterface()).image;
    for (auto _ : state)
        benchmark::DoNotOptimize(Zendra::Runner::toPng(image).constData());
}

// Wall-clock time counts: most of it passes in the server.
BENCHMARK(openPlugin)
    ->Name("open a display/zendra, with key map")
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(openBareDisplay)->Name("open a display/XOpenDisplay")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK_CAPTURE(type, one, QStringLiteral("a"))
    ->Name("type one character/zendra")
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(typeBare, one, 1)
    ->Name("type one character/its round trips")
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(type, prose, QString::fromLatin1(Bench::text()))
    ->Name("type 1,000 characters/zendra")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(typeBare, prose, Bench::textLength)
    ->Name("type 1,000 characters/its round trips")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(movePointer)->Name("move the pointer/zendra")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(movePointerBare)
    ->Name("move the pointer/its round trip")
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(movePointerRemotely)
    ->Name("move the pointer remotely/zendra")
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(queryPointer)
    ->Name("move the pointer remotely/XQueryPointer")
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(grab)->Name("grab the screen/zendra")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(grabBare)->Name("grab the screen/XGetImage, memcpy")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(encode)->Name("encode the screen/zendra")->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
