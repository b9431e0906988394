#pragma once

class QThread;

namespace Zendra::Agent
{

// For the thread of an operation, whose program knows nothing of it.

/// Starts the thread with the program's signals kept out; the end of the process waits for it.
void startHidden(QThread& thread);
/// Makes X errors in the calling thread the hook's own. Where its display is lost it does not go on.
void hideXErrors();

} // namespace Zendra::Agent
