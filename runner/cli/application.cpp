#include "application.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include <QGuiApplication>

namespace Zendra::Runner
{

namespace
{

/// Sets an environment variable within a scope; child processes that are started later do not get it.
class TemporaryVariable
{
public:
    TemporaryVariable(const char* name, const char* value)
        : m_name(name)
        , m_wasSet(qEnvironmentVariableIsSet(name))
        , m_previous(qgetenv(name))
    {
        qputenv(m_name, value);
    }

    ~TemporaryVariable()
    {
        if (m_wasSet)
            qputenv(m_name, m_previous);
        else
            qunsetenv(m_name);
    }

private:
    Q_DISABLE_COPY(TemporaryVariable)

    const char* m_name;
    bool m_wasSet;
    QByteArray m_previous;
};

/// Qt's message handler has no context argument.
std::function<void(ExitStatus)>& processEnd()
{
    static std::function<void(ExitStatus)> end;
    return end;
}

/// Prints messages of logging categories, which are off by default. Qt's warnings are not for users.
void handleQtMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtFatalMsg && processEnd())
        processEnd()(ExitStatus::Unreachable);
    if (message.startsWith(QLatin1String("The X11 connection broke")) && processEnd())
        processEnd()(ExitStatus::ConnectionLost);
    const bool hasCategory = context.category != nullptr && std::strcmp(context.category, "default") != 0;
    if (type == QtFatalMsg || (hasCategory && (type == QtDebugMsg || type == QtInfoMsg)))
        std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
}

} // namespace

void installMessageHandler()
{
    qSetMessagePattern(QStringLiteral("[%{time process}] %{category}: %{message}"));
    qInstallMessageHandler(&handleQtMessage);
}

std::unique_ptr<QCoreApplication> makeApplication(
    ApplicationKind kind, int& argc, char** argv, std::function<void(ExitStatus)> end)
{
    // Qt's own event dispatcher starts faster than glib's.
    const TemporaryVariable noGlib("QT_NO_GLIB", "1");
    if (kind == ApplicationKind::EventLoop)
        return std::make_unique<QCoreApplication>(argc, argv);
    // Users set it for the applications under test.
    const TemporaryVariable platform("QT_QPA_PLATFORM", kind == ApplicationKind::Fonts ? "offscreen" : "xcb");
    // Nothing is drawn, and loading OpenGL would double the start-up time.
    const TemporaryVariable noOpenGl("QT_XCB_GL_INTEGRATION", "none");
    processEnd() = std::move(end);
    return std::make_unique<QGuiApplication>(argc, argv);
}

} // namespace Zendra::Runner
