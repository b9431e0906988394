#pragma once

#include <memory>
#include <vector>

#include <QByteArray>
#include <QSize>

struct xcb_connection_t;

namespace Zendra::Agent
{

/// The screens of a display, on a connection of its own. Tracks their sizes by events, and so never waits
/// for the server, which the program may have grabbed.
class Screens
{
public:
    explicit Screens(const QByteArray& displayName);

    /// 0 if the display cannot be opened.
    int count() const { return static_cast<int>(m_screens.size()); }
    QSize size(int screen);

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };
    struct Screen {
        unsigned int root;
        QSize size;
    };

    const std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    std::vector<Screen> m_screens;
};

} // namespace Zendra::Agent
