#pragma once

#include <memory>

#include <sys/types.h>

#include <QByteArray>

#include "childprocess.h"

namespace Zendra::Runner
{

/// The accessibility bus (AT-SPI) of a private session bus, which ends with the object.
class AccessibilityBus
{
public:
    /// Starts it without waiting for it; null where at-spi2-core is not installed.
    static std::unique_ptr<AccessibilityBus> start(const QByteArray& sessionBus);
    ~AccessibilityBus();

    /// Waits until programs can connect. Empty if it does not start.
    const QByteArray& address();

private:
    class Folder;
    AccessibilityBus() = default;
    Q_DISABLE_COPY(AccessibilityBus)

    QByteArray m_sessionBus;
    std::unique_ptr<Folder> m_folder;
    std::unique_ptr<ChildProcess> m_launcher;
    QByteArray m_address;
};

struct AccessibilityInfo {
    QByteArray address;           ///< of the bus; empty without one
    bool isInstalled = false;     ///< at-spi2-core
    bool hasSessionBus = false;   ///< that could be asked
    bool isEnabled = false;       ///< org.a11y.Status.IsEnabled, which Qt 6 and Chromium heed
    bool hasScreenReader = false; ///< org.a11y.Status.ScreenReaderEnabled, which Chromium heeds
};

/// Finds the accessibility bus of an application, by its environment, or of a display: by the property
/// AT_SPI_BUS of its root window, by AT_SPI_BUS_ADDRESS, or from the session bus, which starts it if it is
/// not there. `application` is 0 if there is none.
AccessibilityInfo findAccessibilityBus(const QByteArray& displayName, pid_t application);

/// Starts the accessibility bus of the session bus in the environment, unless it is there.
void startDesktopAccessibilityBus();

} // namespace Zendra::Runner
