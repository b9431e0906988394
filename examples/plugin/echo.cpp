// A platform plug-in that writes what it is asked for to standard output, and needs no display.
//
//     zendra --platform ./echo.so type hello

#include <cstdio>

#include <zendra/nativeinterface.h>
#include <zendra/platformplugin.h>
#include <zendra/widgethighlighter.h>

using namespace Zendra;

namespace
{

/// Writes one line, and reports success: an empty error text.
template <typename... Arguments>
QString echo(const char* operation, Arguments... arguments)
{
    QStringList words {QLatin1String(operation)};
    (words.append(QVariant(arguments).toString()), ...);
    std::puts(qPrintable(words.join(QLatin1Char(' '))));
    std::fflush(stdout);
    return {};
}

class EchoInterface : public NativeInterface
{
public:
    QList<Capability> getCapabilities() override { return {}; }
    Screenshot desktopScreenshot(Rect area, int) override
    {
        echo("desktopScreenshot", area.x, area.y, area.width, area.height);
        QImage image(
            area.width > 0 ? area.width : 320, area.height > 0 ? area.height : 200, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        return {image, QTransform::fromTranslate(-area.x, -area.y), 1.0, {}};
    }
    ClipboardText getClipboardText() override { return {m_clipboard, echo("getClipboardText")}; }
    QString setClipboardText(QString text) override
    {
        m_clipboard = text;
        return echo("setClipboardText", text);
    }
    PointerPosition pointerPosition() override { return {1, m_pointer, {}}; }
    QString pointerButton(MouseButton::Value button, bool press, int) override
    {
        return echo("pointerButton", int(button), press);
    }
    QString pointerButton(MouseButton::Value button, bool press, Point position, int clickCount) override
    {
        pointerMove(position);
        return pointerButton(button, press, clickCount);
    }
    QString pointerMove(Point position) override
    {
        m_pointer = position;
        return echo("pointerMove", position.x, position.y);
    }
    QString pointerWarp(Point position) override
    {
        m_pointer = position;
        return echo("pointerWarp", position.x, position.y);
    }
    QString wheelRoll(int clicks) override { return echo("wheelRoll", clicks); }
    QString pointerDragAndDropBegin(Point start, MouseButton::Value, int) override
    {
        return echo("pointerDragAndDropBegin", start.x, start.y);
    }
    QString pointerDragAndDropEnd(Point target, MouseButton::Value, int, bool) override
    {
        return echo("pointerDragAndDropEnd", target.x, target.y);
    }
    DragResult pointerDrag(Point start, int dx, int dy, int) override
    {
        return {0, echo("pointerDrag", start.x, start.y, dx, dy)};
    }
    QString keyCode(unsigned int code, unsigned int, NativeKeyCodeSet, bool press) override
    {
        return echo("keyCode", code, press);
    }
    QString typeCharacter(QChar character, int) override { return echo("typeCharacter", character); }
    QString keyboardPressRelease(const QString& name, bool press) override
    {
        return echo("keyboardPressRelease", name, press);
    }
    bool isValidSpecialKey(QString) override { return true; }
    QString pressReleaseModifiers(int modifiers, bool press) override
    {
        return echo("pressReleaseModifiers", modifiers, press);
    }
    bool isModifierPressed(ModifierKey) override { return false; }
    CharacterStroke charToKeyStroke(QChar character, bool) override
    {
        return {character.unicode(), NoModifier, {}};
    }
    QString touch(TouchType, Point, unsigned int, unsigned int) override
    {
        return QStringLiteral("There is no touch screen");
    }
    QString sendTextToWindow(QString windowName, QString text) override
    {
        return echo("sendTextToWindow", windowName, text);
    }
    QString sendKeyEventToFocusWindow(QString keys) override
    {
        return echo("sendKeyEventToFocusWindow", keys);
    }
    QString sendKeys(QString keys, bool press) override { return echo("sendKeys", keys, press); }
    NativeInterface* threadSafeCopy() override { return new EchoInterface; }
    bool supressFlush(bool suppress) override { return std::exchange(m_suppressesFlush, suppress); }

private:
    QString m_clipboard;
    Point m_pointer;
    bool m_suppressesFlush = false;
};

class EchoHighlighter : public WidgetHighlighter
{
public:
    void setGeometry(const Rect& rect) override
    {
        echo("setGeometry", rect.x, rect.y, rect.width, rect.height);
    }
    void setToolTip(const QString& text) override { echo("setToolTip", text); }
    void updateToolTip() override { }
    bool isVisible() const override { return m_isVisible; }
    void show() override { m_isVisible = true; }
    void hide() override { m_isVisible = false; }

private:
    bool m_isVisible = false;
};

class EchoPlugin : public PlatformPlugin
{
public:
    QString name() const override { return QStringLiteral("echo"); }
    NativeInterface* nativeInterface() override { return &m_interface; }
    WidgetHighlighter* widgetHighlighter() override { return &m_highlighter; }
    WindowManagerResult windowManager() override { return {}; }

private:
    EchoInterface m_interface;
    EchoHighlighter m_highlighter;
};

} // namespace

extern "C" Q_DECL_EXPORT PlatformPluginResult echoPlatformPlugin(const PlatformPluginParameters&)
{
    return {new EchoPlugin, {}};
}
