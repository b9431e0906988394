#pragma once

#include <zendra/nativeinterface.h>

#include "peer.h"

namespace Zendra::Runner
{

/// The native interface of another application: each operation is one call, whose error text it passes on.
class RemoteNative : public NativeInterface
{
public:
    /// `peer` must live longer.
    explicit RemoteNative(Peer& peer);

    TypedText typeText(const QString& text);

    QList<Capability> getCapabilities() override;
    using NativeInterface::desktopScreenshot;
    Screenshot desktopScreenshot(Rect area, int flags) override;
    void recordScreen(unsigned int formats, const QMap<QString, QVariant>& options,
        ResponseListener<BinaryStream*>* listener) override;
    ClipboardText getClipboardText() override;
    QString setClipboardText(QString text) override;
    PointerPosition pointerPosition() override;
    QString pointerButton(MouseButton::Value button, bool press, int clickCount) override;
    QString pointerButton(MouseButton::Value button, bool press, Point position, int clickCount) override;
    QString pointerMove(Point position) override;
    QString pointerWarp(Point position) override;
    QString pointerPress(
        MouseButton::Value button, bool press, Point position, int modifiers, int clickCount) override;
    QString pointerClick(MouseButton::Value button, Point position, int modifiers, int clickCount) override;
    QString wheelRoll(int clicks) override;
    QString pointerDragAndDropBegin(Point start, MouseButton::Value button, int distance) override;
    QString pointerDragAndDropEnd(
        Point target, MouseButton::Value button, int modifiers, bool moveToTarget) override;
    DragResult pointerDrag(Point start, int dx, int dy, int modifiers) override;
    QString keyCode(unsigned int code, unsigned int scanCode, NativeKeyCodeSet set, bool press) override;
    QString typeCharacter(QChar character, int modifiers) override;
    QString keyboardPressRelease(const QString& name, bool press) override;
    bool isValidSpecialKey(QString name) override;
    QString pressReleaseModifiers(int modifiers, bool press) override;
    bool isModifierPressed(ModifierKey key) override;
    CharacterStroke charToKeyStroke(QChar character, bool native) override;
    void extraKeys(ResponseListener<QStringList>* listener) override;
    QString touch(TouchType type, Point position, unsigned int id, unsigned int pressure) override;
    QString sendTextToWindow(QString windowName, QString text) override;
    QString sendKeyEventToFocusWindow(QString keys) override;
    QString sendKeys(QString keys, bool press) override;
    NativeInterface* threadSafeCopy() override;
    bool supressFlush(bool suppress) override;

private:
    Peer& m_peer;
    bool m_suppressed = false;
};

} // namespace Zendra::Runner
