#pragma once

#include <memory>

class QCoreApplication;

namespace Zendra::Runner
{

/// What the commands need of Qt: an event loop, or a GUI application on the display that DISPLAY names.
enum class ApplicationKind { EventLoop, Gui };

/// Makes the application object. `argc` and `argv` must live as long as it. Failures that Qt would end the
/// process with become a line and an exit status.
std::unique_ptr<QCoreApplication> makeApplication(ApplicationKind kind, int& argc, char** argv);

} // namespace Zendra::Runner
