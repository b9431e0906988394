// Key sequences: the requests and their order, the events that arrive, and names that have no key.

#include <gtest/gtest.h>

#include "puresession.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

std::string noKey(unsigned long keysym)
{
    return "Could not translate the symbol " + std::to_string(keysym) + " into a keycode";
}

// Key codes on a US keyboard: Shift 50, Control 37, Alt 64, third level 92, a 38, s 39, plus 21, less 59.
class Keys : public ::testing::Test
{
protected:
    PureXlibNativeInterface& keyboard() { return m_session.interface(); }

    template <typename Operation>
    Lines requestsOf(Operation operation)
    {
        return m_session.requestsOf(operation);
    }

    /// The keys that go down (+) and up (-) for a sequence.
    std::string keysOf(const char* sequence, const std::string& expectedError = {})
    {
        std::string keys;
        for (const std::string& line : requestsOf([&] {
                 EXPECT_EQ(
                     text(keyboard().sendKeyEventToFocusWindow(QString::fromUtf8(sequence))), expectedError);
             })) {
            if (line.rfind("FakeKeyPress ", 0) == 0)
                keys += (keys.empty() ? "+" : " +") + line.substr(13);
            else if (line.rfind("FakeKeyRelease ", 0) == 0)
                keys += (keys.empty() ? "-" : " -") + line.substr(15);
        }
        return keys;
    }

    XServer server {withLayout("us")};
    EventWindow window {server};

private:
    PureSession m_session {server};
};

} // namespace

TEST_F(Keys, ACombinationIsNestedOnTheWire)
{
    EXPECT_EQ(requestsOf([this] { keyboard().sendKeyEventToFocusWindow(QStringLiteral("<Ctrl+Shift+a>")); }),
        (Lines {"GetInputFocus", "XTestGetVersion", "FakeKeyPress 37", "XTestGetVersion", "FakeKeyPress 50",
            "XTestGetVersion", "FakeKeyPress 38", "XTestGetVersion", "FakeKeyRelease 38", "XTestGetVersion",
            "FakeKeyRelease 50", "XTestGetVersion", "FakeKeyRelease 37"}));
    EXPECT_EQ(window.take(6),
        (Lines {"KeyPress Control_L(37) state=0", "KeyPress Shift_L(50) state=4", "KeyPress A(38) state=5",
            "KeyRelease A(38) state=5", "KeyRelease Shift_L(50) state=5",
            "KeyRelease Control_L(37) state=4"}));
}

TEST_F(Keys, ACharacterTakesItsShiftAlong)
{
    EXPECT_EQ(requestsOf([this] { keyboard().sendKeyEventToFocusWindow(QStringLiteral("A")); }),
        (Lines {"GetInputFocus", "XTestGetVersion", "FakeKeyPress 50", "FakeKeyPress 38", "XTestGetVersion",
            "FakeKeyRelease 38", "FakeKeyRelease 50"}));
    EXPECT_EQ(window.take(4),
        (Lines {"KeyPress Shift_L(50) state=0", "KeyPress A(38) state=1", "KeyRelease A(38) state=1",
            "KeyRelease Shift_L(50) state=1"}));
}

TEST_F(Keys, SequencesFallApartAtPlusSigns)
{
    EXPECT_EQ(keysOf("<Ctrl++>"), "+37 +50 +21 -21 -50 -37");
    EXPECT_EQ(keysOf("<++>"), "+50 +21 -21 -50");
    EXPECT_EQ(keysOf("<Ctrl++a>"), "+37 +38 -38 -37");
    EXPECT_EQ(keysOf("<+>"), "");
    EXPECT_EQ(keysOf("<>"), "");
    EXPECT_EQ(keysOf("<F5>"), "+71 -71");
    EXPECT_EQ(keysOf("as"), "+38 -38 +39 -39");
    EXPECT_EQ(keysOf("<a"), "+50 +59 -59 -50 +38 -38");
}

TEST_F(Keys, ANameWithoutAKeyStopsTheDescentAndNothingStaysDown)
{
    EXPECT_EQ(keysOf("<Ctrl+Greek_alpha+a>", noKey(XK_Greek_alpha)), "+37 -37");
    EXPECT_EQ(keysOf("<Greek_alpha+a>", noKey(XK_Greek_alpha)), "");
    EXPECT_EQ(keysOf("aяs", noKey(XK_Cyrillic_ya)), "+38 -38");
}

TEST_F(Keys, NothingToTypeAsksNothing)
{
    EXPECT_EQ(
        requestsOf([this] { EXPECT_EQ(text(keyboard().sendKeyEventToFocusWindow({})), ""); }), Lines {});
    EXPECT_EQ(requestsOf([this] { EXPECT_EQ(text(keyboard().sendKeys({}, true)), ""); }),
        (Lines {"GetInputFocus"}));
}

TEST_F(Keys, SendKeysSendsOneKeyOneWay)
{
    const std::pair<const char*, Lines> presses[]
        = {{"as", {"GetInputFocus", "XTestGetVersion", "FakeKeyPress 38"}},
            {"<", {"GetInputFocus", "XTestGetVersion", "FakeKeyPress 50", "FakeKeyPress 59"}},
            {"<PageDown>", {"GetInputFocus", "XTestGetVersion", "FakeKeyPress 117"}},
            {"<Ctrl>", {"GetInputFocus", "XTestGetVersion", "FakeKeyPress 37"}}};
    for (const auto& [keys, lines] : presses) {
        EXPECT_EQ(requestsOf([&, sequence = keys] {
            EXPECT_EQ(text(keyboard().sendKeys(QLatin1String(sequence), true)), "");
        }),
            lines);
    }
    EXPECT_EQ(requestsOf([&] { keyboard().sendKeys(QStringLiteral("<Ctrl>"), false); }),
        (Lines {"GetInputFocus", "XTestGetVersion", "FakeKeyRelease 37"}));

    // Only a special key reports that the keyboard lacks it.
    EXPECT_EQ(text(keyboard().sendKeys(QStringLiteral("<Greek_alpha>"), true)), noKey(XK_Greek_alpha));
    EXPECT_EQ(text(keyboard().sendKeys(QString::fromUtf8("я"), true)), "");
}

TEST_F(Keys, StateBitsArePressedInOrderAndReleasedInTheOppositeOne)
{
    const int allBits = 0xFF; // Lock, Mod2, Mod3 and Mod4 have no keys
    EXPECT_EQ(requestsOf([&] { keyboard().sendKeyStateEvent(None, allBits, 38, true); }),
        (Lines {"XTestGetVersion", "FakeKeyPress 50", "FakeKeyPress 37", "FakeKeyPress 64", "FakeKeyPress 92",
            "FakeKeyPress 38"}));
    EXPECT_EQ(requestsOf([&] { keyboard().sendKeyStateEvent(None, allBits, 38, false); }),
        (Lines {"XTestGetVersion", "FakeKeyRelease 38", "FakeKeyRelease 92", "FakeKeyRelease 64",
            "FakeKeyRelease 37", "FakeKeyRelease 50"}));
}

TEST_F(Keys, AKeysymIsSentWithoutItsStateAndWithoutAFlush)
{
    EXPECT_EQ(requestsOf([&] {
        EXPECT_EQ(text(keyboard().sendKeySym(XK_A, true, 7)), "");
        EXPECT_EQ(text(keyboard().sendKeySym(XK_A, false, 0)), "");
        EXPECT_EQ(text(keyboard().sendKeySym(XK_Greek_alpha, true, 0)), noKey(XK_Greek_alpha));
    }),
        (Lines {"FakeKeyPress 38 after 7 ms", "FakeKeyRelease 38"}));
}

TEST_F(Keys, NativeKeyCodesAreOffsetByEight)
{
    EXPECT_EQ(requestsOf([&] {
        EXPECT_EQ(text(keyboard().keyCode(30, 999, NativeKeyCodeSet::Windows, true)), "");
        EXPECT_EQ(text(keyboard().keyCode(30, 0, NativeKeyCodeSet::Default, false)), "");
    }),
        (Lines {"XTestGetVersion", "FakeKeyPress 38", "XTestGetVersion", "FakeKeyRelease 38"}));
}

TEST_F(Keys, KeypadDigitsArriveWhileNumLockIsOn)
{
    const Connection user(server);
    XkbLockModifiers(user, XkbUseCoreKbd, Mod2Mask, Mod2Mask);
    user.sync();
    EXPECT_EQ(keysOf("<Num1>"), "+87 -87");
    EXPECT_EQ(window.take(2), (Lines {"KeyPress KP_1(87) state=16", "KeyRelease KP_1(87) state=16"}));
}

TEST(KeysWithoutXTest, OneEventCarriesTheStateToTheWindow)
{
    const XServer server(withoutExtension("XTEST"));
    EventWindow window(server);
    PureSession session(server);
    session->sendKeyEventToFocusWindow(QStringLiteral("A<"));
    EXPECT_EQ(window.take(4),
        (Lines {"KeyPress A(38) state=1 sent", "KeyRelease A(38) state=1 sent",
            "KeyPress less(59) state=1 sent", "KeyRelease less(59) state=1 sent"}));

    session->sendKeyEventToFocusWindow(QStringLiteral("<Ctrl+a>"));
    EXPECT_EQ(window.take(4),
        (Lines {"KeyPress Control_L(37) state=0 sent", "KeyPress a(38) state=0 sent",
            "KeyRelease a(38) state=0 sent", "KeyRelease Control_L(37) state=0 sent"}));
}

namespace
{

struct Typed {
    const char* layout;
    const char* text;
    const char* keysyms; ///< what arrives, without the modifier keys
};

class TypedText : public ::testing::TestWithParam<Typed>
{
};

} // namespace

TEST_P(TypedText, ArrivesAsItsKeysyms)
{
    const XServer server(withLayout(GetParam().layout));
    EventWindow window(server);
    PureSession session(server);
    EXPECT_EQ(text(session->sendKeyEventToFocusWindow(QString::fromUtf8(GetParam().text))), "");
    XSync(session.display(), False);

    std::string arrived;
    for (const std::string& line : window.take()) {
        const std::string name = line.substr(line.find(' ') + 1, line.find('(') - line.find(' ') - 1);
        const bool isModifier = name == "Shift_L" || name == "ISO_Level3_Shift";
        if (line.rfind("KeyPress", 0) == 0 && !isModifier)
            arrived += (arrived.empty() ? "" : " ") + name;
    }
    EXPECT_EQ(arrived, GetParam().keysyms);
}

INSTANTIATE_TEST_SUITE_P(Layouts, TypedText,
    ::testing::Values(Typed {"us", "aB1!~\t", "a B 1 exclam asciitilde Tab"},
        Typed {"de", "zß@{Ö€", "z ssharp at braceleft Odiaeresis EuroSign"},
        Typed {"fr", "aQ1é@", "a Q 1 eacute at"}, Typed {"gb", "\"£@#", "quotedbl sterling at numbersign"},
        Typed {"es", "ñÑ|@", "ntilde Ntilde bar at"}, Typed {"hu", "űŐ", "udoubleacute Odoubleacute"},
        Typed {"ru", "яЖ", "Cyrillic_ya Cyrillic_ZHE"}, Typed {"pl", "ąŁ", "aogonek Lstroke"}),
    [](const auto& test) { return std::string(test.param.layout); });
