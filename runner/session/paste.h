#pragma once

#include <QString>

namespace Zendra::Runner
{

class Session;

/// Puts `text` on the clipboard, makes the program with the focus paste it, and restores the previous text.
/// `keys` is the combination that pastes; that which the program is known to have, if empty. Throws a
/// Failure. For commands with a GUI application.
void pasteText(Session& session, const QString& text, const QString& keys);

} // namespace Zendra::Runner
