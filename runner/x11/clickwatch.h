#pragma once

#include <optional>

#include <QPoint>

#include "connection.h"

namespace Zendra::Runner
{

/// Takes the next click of the user, which no program gets.
class ClickWatch
{
public:
    /// Throws a Failure when another program has grabbed the pointer.
    explicit ClickWatch(const QByteArray& displayName);
    ~ClickWatch();

    /// Readable when take() may return a place.
    int fileDescriptor() const;
    /// The place of the click on the default screen once its button is released. Throws for another button
    /// than the left one.
    std::optional<QPoint> take();

private:
    Q_DISABLE_COPY(ClickWatch)

    ConnectionPointer m_display;
    std::optional<QPoint> m_pressed;
};

} // namespace Zendra::Runner
