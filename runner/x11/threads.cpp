#include "threads.h"

#include <X11/Xlib.h>
#include <X11/extensions/XShm.h>

namespace Zendra::Runner
{

void allowThreads()
{
    XInitThreads();
}

ConnectionPointer openExtensionUser(const QByteArray& displayName)
{
    ConnectionPointer connection = openConnection(displayName);
    XShmQueryExtension(connection.get()); // enters it into libXext's lists
    return connection;
}

} // namespace Zendra::Runner
