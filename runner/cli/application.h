#pragma once

#include <functional>
#include <memory>

#include "failure.h"

class QCoreApplication;

namespace Zendra::Runner
{

/// What the commands need of Qt: an event loop, or a GUI application on the display that DISPLAY names.
enum class ApplicationKind { EventLoop, Gui };

/// Qt's messages: prints what logging categories write, one line each, and drops its warnings.
void installMessageHandler();

/// Makes the application object. `argc` and `argv` must live as long as it.
///
/// `end` is called, and must end the process, where Qt would do so with a message of its own: when it cannot
/// run on the display, or has lost it.
std::unique_ptr<QCoreApplication> makeApplication(
    ApplicationKind kind, int& argc, char** argv, std::function<void(ExitStatus)> end);

} // namespace Zendra::Runner
