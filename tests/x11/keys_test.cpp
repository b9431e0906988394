// Key sequences: the requests and their order, the events that arrive, and names that have no key.

#include <gtest/gtest.h>

#include "puresession.h"

#include <X11/Xlib.h>
#include <X11/keysym.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

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

    /// The keys that a sequence sends.
    std::string sent(const char* sequence, const std::string& expectedError = {})
    {
        return keysOf(requestsOf([&] {
            EXPECT_EQ(text(keyboard().sendKeyEventToFocusWindow(QString::fromUtf8(sequence))), expectedError);
        }));
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

TEST_F(Keys, SequencesFallApartAtPlusSigns)
{
    EXPECT_EQ(sent("<Ctrl++>"), "GetInputFocus +37 +50 +21 -21 -50 -37");
    EXPECT_EQ(sent("<++>"), "GetInputFocus +50 +21 -21 -50");
    EXPECT_EQ(sent("<Ctrl++a>"), "GetInputFocus +37 +38 -38 -37");
    EXPECT_EQ(sent("<+>"), "GetInputFocus");
    EXPECT_EQ(sent("<>"), "GetInputFocus");
    EXPECT_EQ(sent("<a"), "GetInputFocus +50 +59 -59 -50 +38 -38");
}

TEST_F(Keys, ANameWithoutAKeyStopsTheDescentAndNothingStaysDown)
{
    EXPECT_EQ(sent("<Ctrl+Greek_alpha+a>", noKey(XK_Greek_alpha)), "GetInputFocus +37 -37");
    EXPECT_EQ(sent("aяs", noKey(XK_Cyrillic_ya)), "GetInputFocus +38 -38");
}

TEST_F(Keys, SendKeysSendsOneKeyOneWay)
{
    const std::tuple<const char*, bool, const char*> rows[]
        = {{"as", true, "GetInputFocus +38"}, {"<", true, "GetInputFocus +50 +59"},
            {"<PageDown>", true, "GetInputFocus +117"}, {"<Ctrl>", false, "GetInputFocus -37"}};
    for (const auto& [keys, press, requests] : rows) {
        const QString characters = QLatin1String(keys);
        const bool down = press;
        EXPECT_EQ(keysOf(requestsOf([&] { keyboard().sendKeys(characters, down); })), requests);
    }

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

TEST_F(Keys, NativeKeyCodesAreOffsetByEight)
{
    EXPECT_EQ(requestsOf([&] {
        EXPECT_EQ(text(keyboard().keyCode(30, 999, NativeKeyCodeSet::Windows, true)), "");
        EXPECT_EQ(text(keyboard().keyCode(30, 0, NativeKeyCodeSet::Default, false)), "");
    }),
        (Lines {"XTestGetVersion", "FakeKeyPress 38", "XTestGetVersion", "FakeKeyRelease 38"}));
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
