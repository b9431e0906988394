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

/// The keysym of a name that comes from ordinary text or from the host's key names; 0 when there is none.
///
/// For some punctuation characters the modifier mask that they usually need is stored in `stateHint`;
/// otherwise it stays as it was. `name` is not empty.
XKeySym XStringToKeysymEx(const QString& name, int* stateHint);

/// The keysym of the name between angle brackets, with "Backspace", "PageDown" and "PageUp" as
/// further names; 0 when there is none. `stateHint` and `name` are as above.
XKeySym XStringToKeysymEx2(const QString& name, int* stateHint);

} // namespace Zendra
