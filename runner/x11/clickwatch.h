#pragma once

#include <QPoint>

#include "connection.h"

namespace Zendra::Runner
{

class Session;

/// Takes the next click of the user, which no program gets.
class ClickWatch
{
public:
    /// Throws a Failure when another program has grabbed the pointer.
    explicit ClickWatch(const QByteArray& displayName);
    ~ClickWatch();

    /// Waits for a click and returns its place on the default screen. Throws when Escape or another button
    /// than the left one is pressed, or the process is interrupted.
    QPoint await(Session& session);

private:
    Q_DISABLE_COPY(ClickWatch)

    ConnectionPointer m_display;
};

} // namespace Zendra::Runner
