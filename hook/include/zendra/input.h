#pragma once

#include <QString>

#include <zendra/geometry.h>

namespace Zendra
{

/// The buttons of a pointing device.
struct MouseButton {
    enum Value {
        Left = 1,
        Middle = 2,
        Right = 4,
        Primary = 16,   ///< a second name for the left button
        Secondary = 32, ///< a second name for the right button
        Back = 64,
        Forward = 128
    };
};

/// Modifier keys; the values combine to the bit sets that input operations take as `int`.
enum ModifierKey {
    NoModifier = 0,
    ShiftModifier = 1,
    ControlModifier = 2,
    AltModifier = 4,
    ThirdLevelModifier = 8 ///< AltGr; only in the results of NativeInterface::charToKeyStroke
};

/// The numbering that a native key code comes in; platforms that know only one ignore it.
enum class NativeKeyCodeSet { Default, Evdev, Windows, Mac };

enum class TouchType { Begin, Update, End };

/// The pointer's place.
struct PointerPosition {
    int success = 0; ///< 1 when `position` is valid, else 0
    Point position;
    QString errorText;
};

/// What a simple drag returns.
struct DragResult {
    int settleTime = 0; ///< milliseconds to wait for the application to process the drag
    QString errorText;
};

/// The key and modifiers that produce a character.
struct CharacterStroke {
    unsigned int code = 0; ///< a native key code, or the character that the key gives without modifiers
    int modifiers = 0;     ///< ModifierKey bits
    QString errorText;
};

/// The text on the clipboard.
struct ClipboardText {
    QString text;
    QString errorText;
};

} // namespace Zendra
