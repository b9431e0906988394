#include "connection.h"

#include "cli/failure.h"

#include <X11/Xlib.h>

namespace Zendra::Runner
{

void CloseConnection::operator()(Display* display) const
{
    XCloseDisplay(display);
}

ConnectionPointer openConnection(const QByteArray& displayName)
{
    ConnectionPointer connection(XOpenDisplay(displayName.constData()));
    if (!connection) {
        throw Failure(ExitStatus::Unreachable,
            QStringLiteral("Cannot open display '%1'").arg(QString::fromUtf8(displayName)));
    }
    return connection;
}

int screenCount(const ConnectionPointer& connection)
{
    return ScreenCount(connection.get());
}

} // namespace Zendra::Runner
