#include "remotenative.h"

#include <algorithm>
#include <utility>

#include <zendra/binarystream.h>

#include "remotescreenshot.h"
#include "remotestream.h"

namespace Zendra::Runner
{

RemoteNative::RemoteNative(Peer& peer)
    : m_peer(peer)
{
}

TypedText RemoteNative::typeText(const QString& text)
{
    const Reply reply = m_peer.call("TypeText", {text}, "us");
    if (!reply.isGood())
        return {0, reply.errorText};
    const auto typed = std::min<qlonglong>(reply.values.at(0).toLongLong(), text.size());
    QString errorText = reply.values.at(1).toString();
    if (typed < text.size() && errorText.isEmpty())
        errorText = QStringLiteral("The application gives no reason");
    return {static_cast<int>(typed), errorText};
}

QList<NativeInterface::Capability> RemoteNative::getCapabilities()
{
    return {capKeycodeSupport};
}

Screenshot RemoteNative::desktopScreenshot(Rect area, int)
{
    const Reply reply = m_peer.call(
        "DesktopScreenshot", {area.x, area.y, area.width, area.height, area.screen}, screenshotSignature);
    if (reply.isGood())
        return toScreenshot(reply.values);
    Screenshot screenshot;
    screenshot.errorText = reply.errorText;
    return screenshot;
}

void RemoteNative::recordScreen(
    unsigned int formats, const QMap<QString, QVariant>& options, ResponseListener<BinaryStream*>* listener)
{
    const Reply reply = m_peer.call("RecordScreen", {formats, options}, "ou");
    if (!reply.isGood()) {
        listener->response({nullptr, reply.errorText});
        return;
    }
    const auto path = reply.values.at(0).value<DBus::ObjectPath>().path;
    listener->response({new RemoteStream(m_peer, path), {}});
}

ClipboardText RemoteNative::getClipboardText()
{
    const Reply reply = m_peer.call("GetClipboardText", {}, "s");
    return {reply.values.value(0).toString(), reply.errorText};
}

QString RemoteNative::setClipboardText(QString text)
{
    return m_peer.run("SetClipboardText", {text});
}

PointerPosition RemoteNative::pointerPosition()
{
    const Reply reply = m_peer.call("PointerPosition", {}, "ii");
    if (!reply.isGood())
        return {0, {}, reply.errorText};
    return {1, {reply.values.at(0).toInt(), reply.values.at(1).toInt(), -1}, {}};
}

QString RemoteNative::pointerButton(MouseButton::Value button, bool press, int clickCount)
{
    return m_peer.run("PointerButton", {static_cast<int>(button), press, clickCount});
}

QString RemoteNative::pointerButton(MouseButton::Value button, bool press, Point position, int clickCount)
{
    return pointerPress(button, press, position, NoModifier, clickCount);
}

QString RemoteNative::pointerMove(Point position)
{
    return m_peer.run("PointerMove", {position.x, position.y, position.screen});
}

QString RemoteNative::pointerWarp(Point position)
{
    return m_peer.run("PointerWarp", {position.x, position.y, position.screen});
}

QString RemoteNative::pointerPress(
    MouseButton::Value button, bool press, Point position, int modifiers, int clickCount)
{
    return m_peer.run("PointerPress",
        {static_cast<int>(button), press, position.x, position.y, position.screen, modifiers, clickCount});
}

QString RemoteNative::pointerClick(MouseButton::Value button, Point position, int modifiers, int clickCount)
{
    return m_peer.run("PointerClick",
        {static_cast<int>(button), position.x, position.y, position.screen, modifiers, clickCount});
}

QString RemoteNative::wheelRoll(int clicks)
{
    return m_peer.run("WheelRoll", {clicks});
}

QString RemoteNative::pointerDragAndDropBegin(Point start, MouseButton::Value button, int distance)
{
    return m_peer.run(
        "PointerDragAndDropBegin", {start.x, start.y, start.screen, static_cast<int>(button), distance});
}

QString RemoteNative::pointerDragAndDropEnd(
    Point target, MouseButton::Value button, int modifiers, bool moveToTarget)
{
    return m_peer.run("PointerDragAndDropEnd",
        {target.x, target.y, target.screen, static_cast<int>(button), modifiers, moveToTarget});
}

DragResult RemoteNative::pointerDrag(Point start, int dx, int dy, int modifiers)
{
    const Reply reply = m_peer.call("PointerDrag", {start.x, start.y, start.screen, dx, dy, modifiers}, "i");
    constexpr int longestSettleTime = 60'000;
    return {std::clamp(reply.values.value(0).toInt(), 0, longestSettleTime), reply.errorText};
}

QString RemoteNative::keyCode(unsigned int code, unsigned int, NativeKeyCodeSet, bool press)
{
    return m_peer.run("KeyCode", {code, press});
}

QString RemoteNative::typeCharacter(QChar character, int modifiers)
{
    return m_peer.run("TypeCharacter", {QString(character), modifiers});
}

QString RemoteNative::keyboardPressRelease(const QString& name, bool press)
{
    return m_peer.run("KeyboardPressRelease", {name, press});
}

bool RemoteNative::isValidSpecialKey(QString name)
{
    // Without a reply, the operation that follows reports the error.
    const Reply reply = m_peer.call("IsValidSpecialKey", {name}, "b");
    return !reply.isGood() || reply.values.at(0).toBool();
}

QString RemoteNative::pressReleaseModifiers(int modifiers, bool press)
{
    return m_peer.run("PressReleaseModifiers", {modifiers, press});
}

bool RemoteNative::isModifierPressed(ModifierKey key)
{
    return m_peer.call("IsModifierPressed", {static_cast<int>(key)}, "b").values.value(0).toBool();
}

CharacterStroke RemoteNative::charToKeyStroke(QChar character, bool native)
{
    const Reply reply = m_peer.call("CharToKeyStroke", {QString(character), native}, "ui");
    return {reply.values.value(0).toUInt(), reply.values.value(1).toInt(), reply.errorText};
}

void RemoteNative::extraKeys(ResponseListener<QStringList>* listener)
{
    const Reply reply = m_peer.call("ExtraKeys", {}, "as");
    listener->response({reply.values.value(0).toStringList(), reply.errorText});
}

QString RemoteNative::touch(TouchType type, Point position, unsigned int id, unsigned int pressure)
{
    return m_peer.run(
        "Touch", {static_cast<int>(type), position.x, position.y, position.screen, id, pressure});
}

QString RemoteNative::sendTextToWindow(QString windowName, QString text)
{
    return m_peer.run("SendTextToWindow", {windowName, text});
}

QString RemoteNative::sendKeyEventToFocusWindow(QString keys)
{
    return m_peer.run("SendKeyEventToFocusWindow", {keys});
}

QString RemoteNative::sendKeys(QString keys, bool press)
{
    return m_peer.run("SendKeys", {keys, press});
}

NativeInterface* RemoteNative::threadSafeCopy()
{
    return nullptr;
}

bool RemoteNative::supressFlush(bool suppress)
{
    // Calls are processed in order, so that only the end of the suppression, which waits for the server,
    // needs a reply.
    if (suppress)
        m_peer.send("SuppressFlush", {true});
    else
        m_peer.call("SuppressFlush", {false}, "b");
    return std::exchange(m_suppressed, suppress);
}

} // namespace Zendra::Runner
