#include "cursorwatch.h"

#include <QPainter>

#include "cli/failure.h"
#include "process/standarderror.h"
#include "xcbreply.h"

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

namespace Zendra::Runner
{

namespace
{

xcb_screen_t* screenOf(xcb_connection_t* connection, int number)
{
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; number > 0 && screens.rem > 1; --number)
        xcb_screen_next(&screens);
    return screens.data;
}

} // namespace

void drawCursor(QImage& image, const CursorPicture& cursor, const QPoint& place)
{
    if (!cursor.image.isNull())
        QPainter(&image).drawImage(place - cursor.hotSpot, cursor.image);
}

void CursorWatch::Disconnect::operator()(xcb_connection_t* connection) const
{
    xcb_disconnect(connection);
}

CursorWatch::CursorWatch(const QByteArray& displayName)
{
    const StandardErrorCapture capture;
    int screen = 0;
    m_connection.reset(xcb_connect(displayName.constData(), &screen));
    xcb_connection_t* connection = m_connection.get();
    if (xcb_connection_has_error(connection) != 0) {
        throw Failure(ExitStatus::Unreachable,
            capture.explain(QStringLiteral("Cannot open display '%1'").arg(QString::fromUtf8(displayName))));
    }
    m_root = screenOf(connection, screen)->root;
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_xfixes_id);
    if (extension == nullptr || extension->present == 0)
        return;
    fetch(xcb_xfixes_query_version_reply, connection, xcb_xfixes_query_version(connection, 4, 0));
    xcb_xfixes_select_cursor_input(connection, m_root, XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
    xcb_flush(connection);
    m_cursorEvent = extension->first_event + XCB_XFIXES_CURSOR_NOTIFY;
}

CursorWatch::~CursorWatch() = default;

int CursorWatch::fileDescriptor() const
{
    xcb_connection_t* connection = m_connection.get();
    return xcb_connection_has_error(connection) != 0 ? -1 : xcb_get_file_descriptor(connection);
}

bool CursorWatch::takeChange()
{
    bool hasChanged = false;
    while (const Reply<xcb_generic_event_t> event {xcb_poll_for_event(m_connection.get())})
        hasChanged = hasChanged || (event->response_type & 0x7f) == m_cursorEvent;
    return hasChanged;
}

CursorPicture CursorWatch::picture() const
{
    if (m_cursorEvent < 0)
        return {};
    xcb_connection_t* connection = m_connection.get();
    const auto reply
        = fetch(xcb_xfixes_get_cursor_image_reply, connection, xcb_xfixes_get_cursor_image(connection));
    // There is none before a client has set one.
    if (!reply || quint64 {reply->width} * reply->height > reply->length)
        return {};
    const auto* pixels
        = reinterpret_cast<const uchar*>(xcb_xfixes_get_cursor_image_cursor_image(reply.get()));
    const QImage view(
        pixels, reply->width, reply->height, 4 * reply->width, QImage::Format_ARGB32_Premultiplied);
    return {view.copy(), QPoint(reply->xhot, reply->yhot)};
}

std::optional<QPoint> CursorWatch::position() const
{
    xcb_connection_t* connection = m_connection.get();
    const auto reply = fetch(xcb_query_pointer_reply, connection, xcb_query_pointer(connection, m_root));
    if (!reply || reply->same_screen == 0)
        return {};
    return QPoint(reply->root_x, reply->root_y);
}

} // namespace Zendra::Runner
