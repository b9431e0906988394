#pragma once

#include <QString>
#include <QStringList>

#include <zendra/export.h>

namespace Zendra
{

/// Translates a key name as scripts spell it ("Ctrl", "Esc", "PgUp", "Num5", "ű") into the name of the
/// X keysym for it ("Control_L", "Escape", "Prior", "KP_5", "udoubleacute").
///
/// Names are matched exactly first and then ignoring case. A single character beyond Latin-1 becomes the name
/// of the keysym that X keyboards use for it. Anything else is returned unchanged.
ZENDRA_EXPORT QString ourKeyToXKBString(const QString& name);

/// Whether `name` is a single character, a name that ourKeyToXKBString() knows, or an X keysym name. The
/// keyboard may still lack the key.
ZENDRA_EXPORT bool isKeyName(const QString& name);

/// The names that ourKeyToXKBString() translates, one preferred spelling for each key, in the order of a
/// keyboard.
ZENDRA_EXPORT QStringList keyNames();

/// The error for a `name` that cannot be pressed, else empty. `shown` is what the user wrote.
ZENDRA_EXPORT QString keyNameError(const QString& name, const QString& shown);

/// The error for a combination (the text between angle brackets) that cannot be sent, else empty. The plus
/// key comes last: "Ctrl++".
ZENDRA_EXPORT QString keyCombinationError(const QString& combination);

/// The error for a text with control characters other than backspace, tab, line feed, escape and delete, else
/// empty. The keyboard may still lack other characters.
ZENDRA_EXPORT QString typedTextError(const QString& text);

/// The known key name closest to `name`; empty if none is close.
ZENDRA_EXPORT QString similarKeyName(const QString& name);

} // namespace Zendra
