#include "connection.h"

#include "cli/failure.h"
#include "process/standarderror.h"

#include <X11/Xlib.h>

namespace Zendra::Runner
{

void CloseConnection::operator()(Display* display) const
{
    XCloseDisplay(display);
}

ConnectionPointer openConnection(const QByteArray& displayName)
{
    const StandardErrorCapture capture;
    ConnectionPointer connection(XOpenDisplay(displayName.constData()));
    if (!connection) {
        throw Failure(ExitStatus::Unreachable,
            capture.explain(QStringLiteral("Cannot open display '%1'").arg(QString::fromUtf8(displayName))));
    }
    return connection;
}

int screenCount(const ConnectionPointer& connection)
{
    return ScreenCount(connection.get());
}

} // namespace Zendra::Runner
