#pragma once

#include <memory>
#include <vector>

#include <QString>

#include "remoteplatform.h"

namespace Zendra::Runner
{

/// Connects to an application by its process id or by a D-Bus address. Throws a Failure of status
/// Unreachable. Once the file `interruption` is readable nothing is waited for long any more, now or later.
std::unique_ptr<RemotePlatform> connectToApplication(const QString& idOrAddress, int interruption);

/// The same for a process that may not be ready yet, or never; null then.
std::unique_ptr<RemotePlatform> tryApplication(qint64 processId, int patience, int interruption);

/// All that can be reached, and what should be but does not answer within `patience` milliseconds, ordered by
/// process id. Sockets that dead processes left behind are removed.
std::vector<ApplicationInfo> findApplications(int patience);

/// The processes whose hooks listen for connections.
std::vector<qint64> listeningProcesses();

} // namespace Zendra::Runner
