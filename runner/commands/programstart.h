#pragma once

#include <memory>

#include <QByteArray>

namespace Zendra::Runner
{

class Program;
class RemotePlatform;
class Session;
class SessionBus;

/// The shim that loads the hook into programs. Throws a Failure if it is missing.
QByteArray preloadLibrary();

/// Waits until a process of a program with the hook can be reached. Throws a Failure if that takes too long.
std::unique_ptr<RemotePlatform> reachProgram(Session& session, Program& program);

/// Starts a session bus for programs unless they are to use that of the environment. The accessibility bus
/// must be there before a program: Qt 5 looks for it when it starts.
std::unique_ptr<SessionBus> openSessionBus(const Session& session);

/// Lets other commands find the accessibility bus by the display.
void publishAccessibilityBus(const Session& session, const SessionBus& bus);

} // namespace Zendra::Runner
