#pragma once

#include <functional>

#include <QString>

#include "remote/remoteplatform.h"

namespace Zendra::Runner
{

class Session;

/// How a text is typed.
struct TypingMode {
    bool noRemap = false;       ///< only the keys of the group in force are used
    bool keepModifiers = false; ///< locked and held modifiers stay, and change what is typed
    int delay = 0;              ///< between characters, in milliseconds
};

/// Throws for the first character of `text` that cannot be typed. `textName` names the text in the error.
void requireTextKeys(
    Session& session, const QString& text, const QString& textName, const TypingMode& mode = {});

/// Types a text that requireTextKeys() has accepted. `typePlainly` types one for which the group in force has
/// all keys.
TypedText typeText(Session& session, const QString& text, const TypingMode& mode,
    const std::function<TypedText()>& typePlainly);

/// The same for the names in a combination with its angle brackets.
void requireCombinationKeys(Session& session, const QString& combination);

/// Sends a combination in angle brackets so that clients receive the named keysyms regardless of Num Lock.
/// Returns an error text.
QString sendCombination(Session& session, const QString& combination);

/// Presses or releases one key likewise. `name` is that of a keysym.
QString sendKey(Session& session, const QString& name, bool press);

} // namespace Zendra::Runner
