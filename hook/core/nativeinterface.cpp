#include <zendra/nativeinterface.h>

#include <zendra/keynames.h>

namespace Zendra
{

NativeInterface::~NativeInterface() = default;

void NativeInterface::desktopScreenshot(ResponseListener<Screenshot>* listener, Rect area, int flags)
{
    Result<Screenshot> result;
    result.value = desktopScreenshot(area, flags);
    result.errorText = result.value.errorText;
    listener->response(result);
}

void NativeInterface::recordScreen(
    unsigned int, const QMap<QString, QVariant>&, ResponseListener<BinaryStream*>* listener)
{
    listener->response({nullptr, QStringLiteral("This platform plug-in does not record the screen")});
}

QString NativeInterface::pointerPress(
    MouseButton::Value button, bool press, Point position, int modifiers, int clickCount)
{
    QString errorText = pointerMove(position);
    if (!errorText.isEmpty())
        return errorText;
    if (press) {
        if (modifiers != NoModifier)
            errorText = pressReleaseModifiers(modifiers, true);
        if (errorText.isEmpty())
            errorText = pointerButton(button, true, position, clickCount);
        if (!errorText.isEmpty() && modifiers != NoModifier)
            pressReleaseModifiers(modifiers, false);
        return errorText;
    }
    errorText = pointerButton(button, false, position, clickCount);
    if (modifiers != NoModifier) {
        const QString modifierError = pressReleaseModifiers(modifiers, false);
        if (errorText.isEmpty())
            errorText = modifierError;
    }
    return errorText;
}

QString NativeInterface::pointerClick(
    MouseButton::Value button, Point position, int modifiers, int clickCount)
{
    QString errorText = pointerMove(position);
    if (!errorText.isEmpty())
        return errorText;
    if (modifiers != NoModifier)
        errorText = pressReleaseModifiers(modifiers, true);
    for (int click = 1; errorText.isEmpty() && click <= clickCount; ++click) {
        errorText = pointerButton(button, true, position, click);
        const QString releaseError = pointerButton(button, false, position, click);
        if (errorText.isEmpty())
            errorText = releaseError;
    }
    if (modifiers != NoModifier) {
        const QString releaseError = pressReleaseModifiers(modifiers, false);
        if (errorText.isEmpty())
            errorText = releaseError;
    }
    return errorText;
}

QString NativeInterface::doubleClick(MouseButton::Value button, Point position, int modifiers)
{
    return pointerClick(button, position, modifiers, 2);
}

void NativeInterface::extraKeys(ResponseListener<QStringList>* listener)
{
    Result<QStringList> result;
    const QStringList names = keyNames();
    for (const QString& name : names) {
        if (isValidSpecialKey(ourKeyToXKBString(name)))
            result.value.append(name);
    }
    listener->response(result);
}

QString NativeInterface::tap(Point position, int id)
{
    const auto contact = static_cast<unsigned int>(id);
    const QString errorText = touch(TouchType::Begin, position, contact, 1);
    if (!errorText.isEmpty())
        return errorText;
    return touch(TouchType::End, position, contact, 0);
}

} // namespace Zendra
