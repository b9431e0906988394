#pragma once

#include <memory>
#include <vector>

#include <QString>

#include "remoteplatform.h"

namespace Zendra::Runner
{

/// Connects to an application by its process id or by a D-Bus address. Throws a Failure of status
/// Unreachable. Once the file `interruption` is readable, waits are shortened, now and later.
std::unique_ptr<RemotePlatform> connectToApplication(const QString& idOrAddress, int interruption);

/// The same for a process that may not be ready yet, or never; null then.
std::unique_ptr<RemotePlatform> tryApplication(qint64 processId, int timeout, int interruption);

/// All applications with a socket, ordered by process id; those that do not reply within `timeout`
/// milliseconds without a variant. Stale sockets are removed.
std::vector<ApplicationInfo> findApplications(int timeout);

/// The processes whose hooks accept connections.
std::vector<qint64> listeningProcesses();

} // namespace Zendra::Runner
