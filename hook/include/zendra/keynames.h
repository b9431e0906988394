#pragma once

#include <QString>
#include <QStringList>

#include <zendra/export.h>

namespace Zendra
{

/// Translates a key name as scripts spell it ("Ctrl", "Esc", "PgUp", "Num5", "ű") into the name of the
/// X keysym that stands for it ("Control_L", "Escape", "Prior", "KP_5", "udoubleacute").
///
/// Names are looked up as written first and without regard to case next. A single character beyond Latin-1
/// becomes the name of the keysym that X keyboards use for it. All else comes back unchanged.
ZENDRA_EXPORT QString ourKeyToXKBString(const QString& name);

/// Whether `name` names a key at all: a single character, a name that ourKeyToXKBString() knows, or an X
/// keysym name. It does not say that the keyboard of a display has that key.
ZENDRA_EXPORT bool isKeyName(const QString& name);

/// The names that ourKeyToXKBString() translates, one preferred spelling for each key, in the order of a
/// keyboard.
ZENDRA_EXPORT QStringList keyNames();

/// Why `name` cannot be pressed, as a sentence; empty when isKeyName() is true. `shown` is what the user
/// wrote.
ZENDRA_EXPORT QString keyNameError(const QString& name, const QString& shown);

/// Why `combination`, the names between angle brackets with plus signs between them, cannot be sent; empty
/// when each part names a key. The plus key comes last: "Ctrl++".
ZENDRA_EXPORT QString keyCombinationError(const QString& combination);

/// Why `text` cannot be typed: it holds a control character other than backspace, tab, line feed, escape or
/// delete. Empty when it holds none. Whether a keyboard has the other characters is not looked at.
ZENDRA_EXPORT QString typedTextError(const QString& text);

/// The known key name that `name` is most likely a slip of the fingers for; empty when none is close.
ZENDRA_EXPORT QString similarKeyName(const QString& name);

} // namespace Zendra
