#include <zendra/pluginloader.h>

#include <xcb/xcb.h>

namespace Zendra
{

namespace
{

QString errorTextOf(int error, const QString& name)
{
    switch (error) {
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

} // namespace

DisplayCheck::DisplayCheck(const char* displayName)
    : m_connection(nullptr, &xcb_disconnect)
{
    const QString name
        = displayName != nullptr ? QString::fromLocal8Bit(displayName) : qEnvironmentVariable("DISPLAY");
    if (name.isEmpty()) {
        m_errorText = QStringLiteral("Cannot open a display: none is named and DISPLAY is not set");
        return;
    }
    int screen = 0;
    m_connection.reset(xcb_connect(displayName, &screen));
    m_errorText = errorTextOf(xcb_connection_has_error(m_connection.get()), name);
}

} // namespace Zendra
