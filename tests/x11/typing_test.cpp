// Typing characters: the strokes that the host is told, the requests, and what arrives as text on many
// layouts.

#include <gtest/gtest.h>

#include <cstring>

#include "nativeinterface_x11_keynames.h"
#include "puresession.h"
#include "textwindow.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

constexpr int controlKey = 37; // on any PC keyboard under X

/// A stroke in one line: the code as a number, and "+" with the modifiers if any; or the error text.
std::string line(const CharacterStroke& stroke)
{
    if (!stroke.errorText.isEmpty())
        return stroke.code == 0 && stroke.modifiers == 0 ? text(stroke.errorText) : "an error with a key";
    return std::to_string(stroke.code)
        + (stroke.modifiers != 0 ? '+' + std::to_string(stroke.modifiers) : "");
}

/// Gives a key new keysyms, level by level.
void mapKey(Display* display, int keyCode, std::vector<KeySym> keysyms)
{
    XChangeKeyboardMapping(display, keyCode, static_cast<int>(keysyms.size()), keysyms.data(), 1);
    XSync(display, False);
}

/// Whether a key of the first group has the keysym on one of the levels.
bool hasKeysym(Display* display, KeySym keysym, int firstLevel, int lastLevel)
{
    for (unsigned int keyCode = 8; keyCode <= 255; ++keyCode) {
        for (int level = firstLevel; level <= lastLevel; ++level) {
            if (XkbKeycodeToKeysym(display, static_cast<KeyCode>(keyCode), 0, level) == keysym)
                return true;
        }
    }
    return false;
}

/// Types `characters` one by one; returns those that met no error, and checks that the error of the others
/// is that their keysym has no key.
QString typeAll(PureSession& session, const QString& characters)
{
    QString typed;
    for (const QChar character : characters) {
        const QString errorText = session->typeCharacter(character, NoModifier);
        if (errorText.isEmpty())
            typed += character;
        else // the keysym of a Latin-1 character is its code
            EXPECT_EQ(text(errorText), noKey(character.unicode()));
    }
    XSync(session.display(), False);
    return typed;
}

} // namespace

TEST(CharToKeyStroke, ReturnsTheKeyOrItsBaseCharacter)
{
    struct Row {
        const char* layout;
        const char* character;
        const char* native; ///< the key
        const char* base;   ///< the code of the character on the key's base
    };
    const Row rows[] = {{"us", "a", "38", "97"}, {"us", "A", "38+1", "97+1"}, {"us", "!", "10+1", "49+1"},
        {"us", "\n", "36", "10"},
        {"us", "é", "Could not translate the symbol 233 into a keycode",
            "Could not translate the symbol 233 into a keycode"},
        {"de", "@", "24+8", "113+8"}, {"de", "¡", "10+9", "49+9"}, {"fr", "2", "11+1", "233+1"},
        {"fr", "3", "12+1", "63+1"},
        // The host's names, through which typing finds the letter, have no part in this.
        {"ru", "я", "Could not translate the symbol 16778319 into a keycode",
            "Could not translate the symbol 16778319 into a keycode"}};
    XServer server;
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.layout) + ' ' + row.character);
        server.setLayout(row.layout);
        PureSession session(server);
        const QChar character = QString::fromUtf8(row.character).at(0);
        EXPECT_EQ(line(session->charToKeyStroke(character, true)), row.native);
        EXPECT_EQ(line(session->charToKeyStroke(character, false)), row.base);
    }
}

// Symbols of the test's own, each above a keysym on the base of a key.
TEST(CharToKeyStroke, NamesBasesByTheirCharacters)
{
    const std::pair<KeySym, const char*> bases[]
        = {{XK_BackSpace, "8+1"}, {XK_quotedbl, "63+1"}, {XK_EuroSign, "8364+1"}, {NoSymbol, "9+1"}};
    const QChar symbol(0x2600);
    const XServer server;
    for (const auto& [base, stroke] : bases) {
        mapKey(Connection(server), 9, {base, 0x0100'0000U + symbol.unicode()});
        PureSession session(server);
        EXPECT_EQ(line(session->charToKeyStroke(symbol, false)), stroke);
    }
}

namespace
{

class Typing : public ::testing::Test
{
protected:
    template <typename Operation>
    std::string sent(Operation operation)
    {
        return keysOf(session().requestsOf(operation));
    }

    std::string typed(QChar character, int modifiers, const std::string& expectedError = {})
    {
        return sent([&] { EXPECT_EQ(text(session()->typeCharacter(character, modifiers)), expectedError); });
    }

    std::string named(const char* name, bool press, const std::string& expectedError = {})
    {
        return sent([&] {
            EXPECT_EQ(text(session()->keyboardPressRelease(QString::fromUtf8(name), press)), expectedError);
        });
    }

    std::string modifiers(int flags, bool press, const std::string& expectedError = {})
    {
        return sent([&] { EXPECT_EQ(text(session()->pressReleaseModifiers(flags, press)), expectedError); });
    }

    /// The session reads the keyboard when it is first used.
    PureSession& session()
    {
        if (!m_session)
            m_session = std::make_unique<PureSession>(server);
        return *m_session;
    }

    XServer server {withLayout("us")};

private:
    std::unique_ptr<PureSession> m_session;
};

} // namespace

TEST_F(Typing, ACharacterIsPressedAndReleasedWithItsState)
{
    EXPECT_EQ(typed(QLatin1Char('a'), NoModifier), "GetInputFocus +38 -38");
    EXPECT_EQ(typed(QLatin1Char('A'), NoModifier), "GetInputFocus +50 +38 -38 -50");
    // Alt goes before Control, and Shift is the key's own matter.
    EXPECT_EQ(typed(QLatin1Char('a'), ShiftModifier), "GetInputFocus +38 -38");
    EXPECT_EQ(typed(QLatin1Char('A'), ControlModifier), "GetInputFocus +50 +37 +38 -38 -37 -50");
    EXPECT_EQ(typed(QLatin1Char('a'), ControlModifier | AltModifier), "GetInputFocus +64 +38 -38 -64");
    EXPECT_EQ(typed(QChar(0x44F), NoModifier, noKey(XK_Cyrillic_ya)), "");
}

TEST_F(Typing, ANamedKeyGoesOneWay)
{
    EXPECT_EQ(named("Enter", true), "+36");
    EXPECT_EQ(named("Enter", false), "-36");
    EXPECT_EQ(named("A", true), "+50 +38");
    EXPECT_EQ(named("A", false), "-38 -50");
    EXPECT_EQ(named("я", true, noKey(XK_Cyrillic_ya)), "");
}

TEST_F(Typing, ModifiersGoInOneOrderBothWays)
{
    EXPECT_EQ(modifiers(7, true), "+50 +37 +64");
    EXPECT_EQ(modifiers(7, false), "-50 -37 -64");
    EXPECT_EQ(modifiers(8, true), "");
}

TEST_F(Typing, ClicksHoldModifiersInBetween)
{
    const Point place {3, 4, -1};
    const std::string twoClicks
        = "FakeButtonPress 1 FakeButtonRelease 1 FakeButtonPress 1 FakeButtonRelease 1";
    EXPECT_EQ(sent([&] { session()->doubleClick(MouseButton::Left, place, ShiftModifier | AltModifier); }),
        "FakeMotion 3,4 root=none +50 +64 " + twoClicks + " -50 -64");
    EXPECT_EQ(sent([&] {
        session()->pointerPress(MouseButton::Left, true, place, ControlModifier, 1);
        session()->pointerPress(MouseButton::Left, false, place, ControlModifier, 1);
    }),
        "FakeMotion 3,4 root=none +37 FakeButtonPress 1 FakeMotion 3,4 root=none FakeButtonRelease 1 -37");
}

TEST_F(Typing, TheFirstModifierWithoutAKeyEndsTheOrder)
{
    mapKey(Connection(server), controlKey, {XK_F35});
    EXPECT_EQ(modifiers(7, true, noKey(XK_Control_L)), "+50");
    EXPECT_EQ(modifiers(6, true, noKey(XK_Control_L)), "");
    // Nothing stays down after a click that fails.
    EXPECT_EQ(sent([&] {
        const int modifiers = ShiftModifier | ControlModifier;
        EXPECT_EQ(
            text(session()->pointerClick(MouseButton::Left, {3, 4, -1}, modifiers, 2)), noKey(XK_Control_L));
        EXPECT_EQ(text(session()->pointerPress(MouseButton::Left, true, {3, 4, -1}, modifiers, 1)),
            noKey(XK_Control_L));
    }),
        "FakeMotion 3,4 root=none +50 -50 FakeMotion 3,4 root=none +50 -50");
}

TEST(TypingWithoutXTest, SyntheticEventsGoToTheFocusOrThePointer)
{
    const XServer server(withoutExtension("XTEST"));
    EventWindow lower(server);
    EventWindow upper(server); // under the pointer, and with the focus
    PureSession session(server);
    EXPECT_EQ(text(session->typeCharacter(QLatin1Char('A'), ControlModifier)), "");
    EXPECT_EQ(upper.take(2), (Lines {"KeyPress A(38) state=5 sent", "KeyRelease A(38) state=5 sent"}));

    XSetInputFocus(session.display(), lower.id(), RevertToPointerRoot, CurrentTime);
    EXPECT_EQ(text(session->typeCharacter(QLatin1Char('b'), NoModifier)), "");
    EXPECT_EQ(lower.take(2), (Lines {"KeyPress b(56) state=0 sent", "KeyRelease b(56) state=0 sent"}));
    EXPECT_EQ(text(session->keyboardPressRelease(QStringLiteral("Enter"), true)), "");
    EXPECT_EQ(upper.take(1), (Lines {"KeyPress Return(36) state=0 sent"}));
    EXPECT_EQ(lower.take(), Lines {});

    EXPECT_EQ(text(session->pressReleaseModifiers(ShiftModifier, true)),
        "XTest extension is missing on the display");
}

TEST(Layouts, EveryLatinCharacterOfAKeyboardArrivesAsItself)
{
    QString characters;
    for (ushort character = 0x20; character <= 0xFF; ++character) {
        if (character < 0x7F || character >= 0xA0)
            characters += QChar(character);
    }
    XServer server;
    for (const char* layout :
        {"us", "gb", "de", "fr", "es", "it", "se", "pl", "pt", "cz", "ch", "us(dvorak)"}) {
        SCOPED_TRACE(layout);
        server.setLayout(layout);
        TextWindow window(server);
        PureSession session(server);
        QString onKeyboard;
        for (const QChar character : characters) {
            if (hasKeysym(session.display(), character.unicode(), 0, 3))
                onKeyboard += character;
        }
        EXPECT_GE(onKeyboard.size(), 85);
        EXPECT_EQ(text(typeAll(session, characters)), text(onKeyboard));
        EXPECT_EQ(window.take(text(onKeyboard).size()), text(onKeyboard));
    }
}

TEST(Layouts, CyrillicArrivesAsItself)
{
    const std::pair<const char*, const char*> alphabets[]
        = {{"ru", "абвгдеёжзийклмнопрстуфхцчшщъыьэюяАБВГДЕЁЖЗИЙКЛМНОПРСТУФХЦЧШЩЪЫЬЭЮЯ"},
            {"bg", "абвгдежзийклмнопрстуфхцчшщъьюяАБВГДЕЖЗИЙКЛМНОПРСТУФХЦЧШЩЪЮЯѝ"}};
    XServer server;
    for (const auto& [layout, letters] : alphabets) {
        SCOPED_TRACE(layout);
        server.setLayout(layout);
        TextWindow window(server);
        PureSession session(server);
        EXPECT_EQ(text(typeAll(session, QString::fromUtf8(letters))), letters);
        EXPECT_EQ(window.take(std::strlen(letters)), letters);
        EXPECT_EQ(text(session->typeCharacter(QLatin1Char('q'), NoModifier)), noKey('q'));
        EXPECT_EQ(text(session->typeCharacter(QChar(0x105), NoModifier)), noKey(XK_aogonek));
    }
}
