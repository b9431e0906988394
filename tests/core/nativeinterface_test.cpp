// The operations that the host composes from those of a platform: what they call in which order, and what
// they give back when a step fails.

#include <gtest/gtest.h>

#include <set>

#include <zendra/nativeinterface.h>

#include "wait.h"

using namespace Zendra;
using Zendra::Tests::text;

namespace
{

using Lines = std::vector<std::string>;

/// Writes down what is called. Calls whose line is in `failing` fail with that line as their error text.
class RecordingInterface : public NativeInterface
{
public:
    Lines lines;
    std::set<std::string> failing;

    using NativeInterface::desktopScreenshot;

    QList<Capability> getCapabilities() override { return {}; }
    Screenshot desktopScreenshot(Rect area, int flags) override
    {
        Screenshot screenshot;
        screenshot.errorText = call("screenshot " + std::to_string(area.width) + ' ' + std::to_string(flags));
        return screenshot;
    }
    ClipboardText getClipboardText() override { return {}; }
    QString setClipboardText(QString) override { return {}; }
    PointerPosition pointerPosition() override { return {}; }
    QString pointerButton(MouseButton::Value, bool, int) override { return call("button without place"); }
    QString pointerButton(MouseButton::Value button, bool press, Point, int clickCount) override
    {
        return call("button " + std::to_string(button) + way(press) + ' ' + std::to_string(clickCount));
    }
    QString pointerMove(Point position) override
    {
        return call("move " + std::to_string(position.x) + ',' + std::to_string(position.y));
    }
    QString pointerWarp(Point) override { return call("warp"); }
    QString wheelRoll(int) override { return call("wheel"); }
    QString pointerDragAndDropBegin(Point, MouseButton::Value, int) override { return {}; }
    QString pointerDragAndDropEnd(Point, MouseButton::Value, int, bool) override { return {}; }
    DragResult pointerDrag(Point, int, int, int) override { return {}; }
    QString keyCode(unsigned int, unsigned int, NativeKeyCodeSet, bool) override { return {}; }
    QString typeCharacter(QChar, int) override { return {}; }
    QString keyboardPressRelease(const QString&, bool) override { return {}; }
    bool isValidSpecialKey(QString name) override { return name == QLatin1String("Escape"); }
    QString pressReleaseModifiers(int modifiers, bool press) override
    {
        return call("modifiers " + std::to_string(modifiers) + way(press));
    }
    bool isModifierPressed(ModifierKey) override { return false; }
    CharacterStroke charToKeyStroke(QChar, bool) override { return {}; }
    QString touch(TouchType, Point, unsigned int, unsigned int) override { return {}; }
    QString sendTextToWindow(QString, QString) override { return {}; }
    QString sendKeyEventToFocusWindow(QString) override { return {}; }
    QString sendKeys(QString, bool) override { return {}; }
    NativeInterface* threadSafeCopy() override { return nullptr; }
    bool supressFlush(bool) override { return false; }

private:
    static std::string way(bool press) { return press ? " down" : " up"; }

    QString call(const std::string& line)
    {
        lines.push_back(line);
        return failing.count(line) != 0 ? QString::fromStdString(line) : QString();
    }
};

template <typename T>
class Listener final : public ResponseListener<T>
{
public:
    void response(const Result<T>& answer) override { answers.push_back(answer); }
    std::vector<Result<T>> answers;
};

const Point place {3, 4, -1};

} // namespace

TEST(NativeInterface, HoldsModifiersRoundADoubleClick)
{
    RecordingInterface interface;
    EXPECT_EQ(text(interface.doubleClick(MouseButton::Left, place, ShiftModifier | AltModifier)), "");
    EXPECT_EQ(interface.lines,
        (Lines {"move 3,4", "modifiers 5 down", "button 1 down 1", "button 1 up 1", "button 1 down 2",
            "button 1 up 2", "modifiers 5 up"}));
}

TEST(NativeInterface, PressesAndReleasesInOppositeOrders)
{
    RecordingInterface interface;
    EXPECT_EQ(text(interface.pointerPress(MouseButton::Left, true, place, ControlModifier, 1)), "");
    EXPECT_EQ(text(interface.pointerPress(MouseButton::Left, false, place, ControlModifier, 1)), "");
    EXPECT_EQ(interface.lines,
        (Lines {"move 3,4", "modifiers 2 down", "button 1 down 1", "move 3,4", "button 1 up 1",
            "modifiers 2 up"}));
}

TEST(NativeInterface, AFailedMovePressesNothing)
{
    RecordingInterface interface;
    interface.failing = {"move 3,4"};
    EXPECT_EQ(text(interface.pointerClick(MouseButton::Left, place, ShiftModifier, 2)), "move 3,4");
    EXPECT_EQ(text(interface.pointerPress(MouseButton::Left, true, place, ShiftModifier, 1)), "move 3,4");
    EXPECT_EQ(interface.lines, (Lines {"move 3,4", "move 3,4"}));
}

TEST(NativeInterface, AFailureHalfwayLeavesNothingPressed)
{
    for (const char* failure :
        {"modifiers 3 down", "button 1 down 1", "button 1 up 1", "button 1 down 2", "modifiers 3 up"}) {
        RecordingInterface interface;
        interface.failing = {failure};
        EXPECT_EQ(text(interface.pointerClick(MouseButton::Left, place, 3, 2)), failure);
        EXPECT_EQ(interface.lines.back(), "modifiers 3 up") << failure;
        const auto count = [&interface](const std::string& line) {
            return std::count(interface.lines.begin(), interface.lines.end(), line);
        };
        EXPECT_GE(count("button 1 up 1"), count("button 1 down 1")) << failure;
        EXPECT_GE(count("button 1 up 2"), count("button 1 down 2")) << failure;
    }
}

TEST(NativeInterface, AnswersListenersExactlyOnce)
{
    RecordingInterface interface;
    Listener<Screenshot> screenshots;
    interface.desktopScreenshot(&screenshots, Rect {0, 0, 12, 8, -1}, 5);
    interface.failing = {"screenshot 12 5"};
    interface.desktopScreenshot(&screenshots, Rect {0, 0, 12, 8, -1}, 5);
    ASSERT_EQ(screenshots.answers.size(), 2U);
    EXPECT_EQ(text(screenshots.answers[0].errorText), "");
    EXPECT_EQ(text(screenshots.answers[1].errorText), "screenshot 12 5");

    Listener<QStringList> keys;
    interface.extraKeys(&keys);
    ASSERT_EQ(keys.answers.size(), 1U);
    EXPECT_EQ(text(keys.answers[0].value.join(QLatin1Char(' '))), "Esc");
}
