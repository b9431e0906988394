#pragma once

#include <memory>
#include <optional>

#include <QByteArray>
#include <QImage>
#include <QPoint>

struct xcb_connection_t;

namespace Zendra::Runner
{

/// The picture of the pointer.
struct CursorPicture {
    QImage image; ///< null where there is none
    QPoint hotSpot;
};

/// Draws the picture with its hot spot at `place`.
void drawCursor(QImage& image, const CursorPicture& cursor, const QPoint& place);

/// Watches the picture of the pointer (XFIXES), on a connection of its own.
class CursorWatch
{
public:
    /// Throws a Failure of status Unreachable when the display cannot be opened.
    explicit CursorWatch(const QByteArray& displayName);
    ~CursorWatch();

    /// Readable when takeChange() may return true; negative when the connection is lost.
    int fileDescriptor() const;
    /// Whether the picture has changed since the last call.
    bool takeChange();
    /// One that a program has hidden by XFixesHideCursor is not known as hidden. Without XFIXES it is null.
    CursorPicture picture() const;
    /// The position on the default screen; null on another one.
    std::optional<QPoint> position() const;
    /// The root window of the default screen.
    unsigned int root() const { return m_root; }

private:
    Q_DISABLE_COPY(CursorWatch)

    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    unsigned int m_root = 0;
    int m_cursorEvent = -1; ///< its number; negative without XFIXES
};

} // namespace Zendra::Runner
