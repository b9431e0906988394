#pragma once

#include <functional>
#include <memory>

#include "failure.h"

class QCoreApplication;

namespace Zendra::Runner
{

/// What commands need from Qt: an event loop, fonts as well, or a GUI application on the display in DISPLAY.
enum class ApplicationKind { EventLoop, Fonts, Gui };

/// Prints the messages of logging categories on standard error and drops Qt's warnings.
void installMessageHandler();

/// Creates the application object. `argc` and `argv` must outlive it.
/// Where Qt would abort with a message of its own, because it cannot use the display or has lost it, `end` is
/// called, which must end the process.
std::unique_ptr<QCoreApplication> makeApplication(
    ApplicationKind kind, int& argc, char** argv, std::function<void(ExitStatus)> end);

} // namespace Zendra::Runner
