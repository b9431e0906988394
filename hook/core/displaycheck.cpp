#include <zendra/pluginloader.h>

#include <memory>

#include <xcb/xcb.h>

namespace Zendra
{

QString checkDisplay(const char* displayName)
{
    const QString name
        = displayName != nullptr ? QString::fromLocal8Bit(displayName) : qEnvironmentVariable("DISPLAY");
    if (name.isEmpty())
        return QStringLiteral("Cannot open a display: none is named and DISPLAY is not set");

    int screen = 0;
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(displayName, &screen), &xcb_disconnect);
    switch (xcb_connection_has_error(connection.get())) {
    case 0:
        return {};
    case XCB_CONN_CLOSED_PARSE_ERR:
        return QStringLiteral("Cannot open display '%1': not a display name such as ':0' or 'host:0.0'")
            .arg(name);
    case XCB_CONN_CLOSED_INVALID_SCREEN:
        return QStringLiteral("Cannot open display '%1': the server has no such screen").arg(name);
    default:
        return QStringLiteral("Cannot open display '%1'").arg(name);
    }
}

} // namespace Zendra
