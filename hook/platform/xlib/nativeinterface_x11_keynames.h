#pragma once

#include <QString>

#include "types_x11.h"

namespace Zendra
{

/// An X keysym name and the character it stands for, as UTF-8.
struct KeySymbol {
    const char* keysymName;
    const char* text;
};

/// The Latin-1 characters and the Euro sign, searched front to back; a row of null pointers ends it.
extern const KeySymbol key_symbols[];

/// The keysym of a name from ordinary text or from the host's key names, or NoSymbol.
///
/// Sets `stateHint` to the usual modifier mask for some punctuation characters, else leaves it alone. `name`
/// must not be empty.
XKeySym XStringToKeysymEx(const QString& name, int* stateHint);

/// The same for a name in angle brackets, which also may be "Backspace", "PageDown" or "PageUp".
XKeySym XStringToKeysymEx2(const QString& name, int* stateHint);

} // namespace Zendra
