#include "application.h"

#include <cstdio>

#include <unistd.h>

#include <QGuiApplication>

#include "failure.h"

namespace Zendra::Runner
{

namespace
{

/// Sets an environment variable for the time of a scope, so that programs that are started later do not
/// inherit it. A value that the user has set stays.
class TemporaryVariable
{
public:
    TemporaryVariable(const char* name, const char* value)
        : m_name(qEnvironmentVariableIsSet(name) ? nullptr : name)
    {
        if (m_name != nullptr)
            qputenv(m_name, value);
    }

    ~TemporaryVariable()
    {
        if (m_name != nullptr)
            qunsetenv(m_name);
    }

private:
    Q_DISABLE_COPY(TemporaryVariable)

    const char* m_name;
};

[[noreturn]] void end(ExitStatus status, const char* text)
{
    std::fprintf(stderr, "zendra: %s\n", text);
    _exit(static_cast<int>(status));
}

/// Where Qt would end the process with messages of its own, it ends as a command does; what else Qt has to
/// say is not for users.
void handleQtMessage(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtFatalMsg)
        end(ExitStatus::Unreachable, "Qt cannot run on this display; is its xcb platform plug-in installed?");
    if (message.startsWith(QLatin1String("The X11 connection broke")))
        end(ExitStatus::ConnectionLost, "The connection to the display was lost");
}

} // namespace

std::unique_ptr<QCoreApplication> makeApplication(ApplicationKind kind, int& argc, char** argv)
{
    // Qt's own event dispatcher starts faster than glib's.
    const TemporaryVariable noGlib("QT_NO_GLIB", "1");
    if (kind == ApplicationKind::EventLoop)
        return std::make_unique<QCoreApplication>(argc, argv);
    const TemporaryVariable platform("QT_QPA_PLATFORM", "xcb");
    qInstallMessageHandler(&handleQtMessage);
    return std::make_unique<QGuiApplication>(argc, argv);
}

} // namespace Zendra::Runner
