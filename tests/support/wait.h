#pragma once

#include <string>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QString>

namespace Zendra::Tests
{

/// Runs the Qt event loop until `condition` holds; false when it does not within `milliseconds`.
template <typename Condition>
bool waitFor(Condition condition, int milliseconds = 30'000)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() >= milliseconds)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

/// Runs the Qt event loop for a while.
inline void runEventLoop(int milliseconds)
{
    waitFor([] { return false; }, milliseconds);
}

/// Runs pending deleteLater() deletions, as an event loop would.
inline void runDeferredDeletions()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// A Qt text as GoogleTest can compare and print it.
inline std::string text(const QString& string)
{
    return string.toStdString();
}

} // namespace Zendra::Tests
