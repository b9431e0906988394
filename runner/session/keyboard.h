#pragma once

#include <QString>

namespace Zendra::Runner
{

class Session;

/// Throws for the first character of `text` that has no key. `textName` names the text in the error.
void requireTextKeys(Session& session, const QString& text, const QString& textName);

/// The same for the names in a combination with its angle brackets.
void requireCombinationKeys(Session& session, const QString& combination);

/// Sends a combination in angle brackets so that clients receive the named keysyms regardless of Num Lock.
/// Returns an error text.
QString sendCombination(Session& session, const QString& combination);

/// Presses or releases one key likewise. `name` is that of a keysym.
QString sendKey(Session& session, const QString& name, bool press);

} // namespace Zendra::Runner
