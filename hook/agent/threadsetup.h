#pragma once

class QThread;

namespace Zendra::Agent
{

// What a thread of the hook needs inside a foreign program.

/// Starts the thread with all signals blocked; the end of the process waits for it.
void startWithSignalsBlocked(QThread& thread);
/// Keeps X errors of the calling thread from the program's handlers. The thread ends where its display is
/// lost.
void claimXErrors();

} // namespace Zendra::Agent
