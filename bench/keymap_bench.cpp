// The keyboard map: what it costs to build and to ask.

#include <benchmark/benchmark.h>

#include "nativeinterface_x11_keymap.h"
#include "server.h"

#include <X11/XKBlib.h>
#include <X11/keysym.h>

namespace
{

void lookUp(benchmark::State& state, KeySym keysym)
{
    const Bench::DisplayPointer display = Bench::openDisplay();
    const Zendra::SharedRef<Zendra::KeyMap> map(new Zendra::XkbKeyMap(display.get()));
    for (auto _ : state)
        benchmark::DoNotOptimize(map->keyCodeAndStateFromSym(keysym));
}

void lookUpWithXlib(benchmark::State& state, KeySym keysym)
{
    const Bench::DisplayPointer display = Bench::openDisplay();
    for (auto _ : state)
        benchmark::DoNotOptimize(XKeysymToKeycode(display.get(), keysym));
}

BENCHMARK_CAPTURE(lookUp, letter, XK_a)->Name("look a letter up/zendra");
BENCHMARK_CAPTURE(lookUpWithXlib, letter, XK_a)->Name("look a letter up/XKeysymToKeycode");
BENCHMARK_CAPTURE(lookUp, cursor, XK_Down)->Name("look a cursor key up/zendra");
BENCHMARK_CAPTURE(lookUpWithXlib, cursor, XK_Down)->Name("look a cursor key up/XKeysymToKeycode");

void buildMap(benchmark::State& state)
{
    const Bench::DisplayPointer display = Bench::openDisplay();
    for (auto _ : state)
        const Zendra::SharedRef<Zendra::KeyMap> map(new Zendra::XkbKeyMap(display.get()));
}

void fetchMap(benchmark::State& state)
{
    const Bench::DisplayPointer display = Bench::openDisplay();
    for (auto _ : state) {
        XkbStateRec group;
        XkbDescPtr map
            = XkbGetMap(display.get(), XkbKeyTypesMask | XkbKeySymsMask | XkbModifierMapMask, XkbUseCoreKbd);
        XkbGetState(display.get(), XkbUseCoreKbd, &group);
        XkbFreeKeyboard(map, 0, True);
    }
}

BENCHMARK(buildMap)->Name("build the key map/zendra")->Unit(benchmark::kMicrosecond);
BENCHMARK(fetchMap)->Name("build the key map/its two requests")->Unit(benchmark::kMicrosecond);

} // namespace
