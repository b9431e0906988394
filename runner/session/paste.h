#pragma once

#include <QString>

namespace Zendra::Runner
{

class Session;

/// Puts `text` on the clipboard, has the program with the focus paste it, and puts back what was there.
/// `keys` is the combination that pastes; that which the program is known to have, if empty. Throws a
/// Failure. For commands with a GUI application.
void pasteText(Session& session, const QString& text, const QString& keys);

} // namespace Zendra::Runner
