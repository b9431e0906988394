// Keyboard maps: which key and which modifier state give a keysym, on real layouts and on odd ones.

#include <gtest/gtest.h>

#include "nativeinterface_x11_keymap.h"
#include "wait.h"
#include "wiretap.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

const char* const badLevel = "Could not convert the modifier group %d into a keyboard state";

/// A stroke in one line: "38" or "38+1" with the state, or the error text.
std::string line(const KeyStroke& stroke)
{
    if (!stroke.errorText.isEmpty())
        return stroke.keyCode == 0 && stroke.state == 0 ? text(stroke.errorText) : "an error with a key";
    return std::to_string(stroke.keyCode) + (stroke.state != 0 ? '+' + std::to_string(stroke.state) : "");
}

/// A server and a client of its own on it, with the means to bend the keyboard.
class Keyboard
{
public:
    explicit Keyboard(const char* layout)
        : server(withLayout(layout))
        , display(server)
    {
    }

    std::string xkb(KeySym keysym) const { return line(XkbKeyMap(display).keyCodeAndStateFromSym(keysym)); }
    std::string core(KeySym keysym) const { return line(X11KeyMap(display).keyCodeAndStateFromSym(keysym)); }

    void lockNumLock(bool lock) const
    {
        XkbLockModifiers(display, XkbUseCoreKbd, Mod2Mask, lock ? Mod2Mask : 0);
        display.sync();
    }

    void lockGroup(unsigned int group) const
    {
        XkbLockGroup(display, XkbUseCoreKbd, group);
        display.sync();
    }

    /// Replaces a key's row in the core mapping.
    void map(int keyCode, std::vector<KeySym> keysyms) const
    {
        XChangeKeyboardMapping(display, keyCode, static_cast<int>(keysyms.size()), keysyms.data(), 1);
        display.sync();
    }

    XServer server;
    Connection display;
};

constexpr int escapeKey = 9; // the lowest key that has a symbol: searches find it first

} // namespace

TEST(XkbMap, StaysInTheGroupThatItWasBuiltIn)
{
    const Keyboard keyboard("us,ru");
    const XkbKeyMap latin(keyboard.display);
    keyboard.lockGroup(1);
    const XkbKeyMap cyrillic(keyboard.display);
    for (const unsigned int group : {1U, 0U}) {
        keyboard.lockGroup(group);
        EXPECT_EQ(line(latin.keyCodeAndStateFromSym(XK_z)), "52");
        EXPECT_EQ(line(latin.keyCodeAndStateFromSym(XK_Cyrillic_ya)),
            "Could not translate the symbol 1745 into a keycode");
        EXPECT_EQ(line(cyrillic.keyCodeAndStateFromSym(XK_Cyrillic_ya)), "52");
        EXPECT_EQ(
            line(cyrillic.keyCodeAndStateFromSym(XK_z)), "Could not translate the symbol 122 into a keycode");
        EXPECT_EQ(line(cyrillic.keyCodeAndStateFromSym(XK_Return)), "36"); // a key with one group
    }
}

TEST(XkbMap, OnlyTheKeypadDependsOnNumLock)
{
    const Keyboard keyboard("us");
    EXPECT_EQ(keyboard.xkb(XK_KP_1), "87+1");
    EXPECT_EQ(keyboard.xkb(XK_KP_End), "87");
    keyboard.lockNumLock(true);
    EXPECT_EQ(keyboard.xkb(XK_KP_1), "87");
    EXPECT_EQ(keyboard.xkb(XK_exclam), "10+1");
    EXPECT_EQ(keyboard.xkb(XStringToKeysym("XF86Switch_VT_1")), badLevel);

    // 0xFFBD is the last keysym of the keypad, 0xFFBE is F1; 0xFF80 is its first, 0xFF7F is Num_Lock.
    for (const auto& [keysym, stroke] : {std::pair<KeySym, const char*> {XK_KP_Equal, "9"}, {XK_F1, "9+1"},
             {XK_KP_Space, "9"}, {XK_Num_Lock, "9+1"}}) {
        keyboard.map(escapeKey, {XK_Escape, keysym});
        EXPECT_EQ(keyboard.xkb(keysym), stroke);
    }
}

TEST(CoreMap, ReadsTheCoreMapping)
{
    const Keyboard keyboard("us");
    EXPECT_EQ(keyboard.core(XK_a), "38");
    EXPECT_EQ(keyboard.core(XK_exclam), "10+1");
    EXPECT_EQ(keyboard.core(XK_Greek_alpha), "Could not translate the symbol 2017 into an X11 keycode");

    // The core mapping has the third level in its fifth column, which no state stands for.
    const Keyboard german("de");
    EXPECT_EQ(german.core(XK_ssharp), "20");
    EXPECT_EQ(german.core(XK_at), badLevel);
}

TEST(CoreMap, TheColumnIsTheLevel)
{
    const Keyboard keyboard("us");
    keyboard.map(escapeKey, {XK_Escape, NoSymbol, XK_Greek_alpha, XK_Greek_beta});
    EXPECT_EQ(keyboard.core(XK_Greek_alpha), "9+128");
    EXPECT_EQ(keyboard.core(XK_Greek_beta), "9+129");
    EXPECT_EQ(keyboard.core(NoSymbol), "9+1"); // a gap counts, what lies behind the last symbol does not
}

TEST(CoreMap, OnlyTheKeypadDependsOnTheNumLockLight)
{
    const Keyboard keyboard("us");
    EXPECT_EQ(keyboard.core(XK_KP_1), "87+1");
    keyboard.lockNumLock(true);
    EXPECT_EQ(keyboard.core(XK_KP_1), "87");
}

TEST(KeyMaps, LooksUpInMemoryAndAsksForNumLockOnly)
{
    const Keyboard keyboard("us");
    const XkbKeyMap xkb(keyboard.display);
    const X11KeyMap core(keyboard.display);
    const auto requests = [&](const KeyMap& map, KeySym keysym) {
        WireTap tap(keyboard.server, keyboard.display);
        map.keyCodeAndStateFromSym(keysym);
        return tap.finish();
    };
    for (const KeyMap* map : {static_cast<const KeyMap*>(&xkb), static_cast<const KeyMap*>(&core)}) {
        EXPECT_EQ(requests(*map, XK_exclam), Lines {});
        EXPECT_EQ(requests(*map, XK_Greek_alpha), Lines {});
    }
    EXPECT_EQ(requests(xkb, XK_KP_1), (Lines {"XkbGetState"}));
    EXPECT_EQ(requests(core, XK_KP_1), (Lines {"GetKeyboardControl"}));
}
