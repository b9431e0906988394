#include "atspiconnection.h"

#include <algorithm>

#include "cli/failure.h"
#include "process/accessibilitybus.h"
#include "x11/windowprobe.h"

namespace Zendra::Runner
{

namespace
{

constexpr int connectTimeout = 5000; ///< milliseconds; a bus that is started on demand takes some 50

constexpr char busInterface[] = "org.freedesktop.DBus";
constexpr char registryInterface[] = "org.a11y.atspi.Registry";
constexpr char registryName[] = "org.a11y.atspi.Registry";

} // namespace

AtspiConnection::AtspiConnection(const WindowProbe& display, qint64 process, int interruption)
{
    // Most often the property is there, which takes no further connection to look up.
    QByteArray address = display.rootProperty("AT_SPI_BUS");
    AccessibilityInfo info;
    if (address.isEmpty()) {
        info = findAccessibilityBus({}, static_cast<pid_t>(process));
        address = info.address;
    }
    QString errorText;
    if (!address.isEmpty())
        m_connection = DBus::Connection::openBus(QString::fromUtf8(address), connectTimeout, errorText);
    else if (!info.hasSessionBus)
        errorText = QStringLiteral("there is no session bus; DBUS_SESSION_BUS_ADDRESS is not set");
    else
        errorText = info.isInstalled ? QStringLiteral("the session bus does not start it")
                                     : QStringLiteral("install the package at-spi2-core");
    if (!m_connection) {
        throw Failure(ExitStatus::Unreachable,
            QStringLiteral("Cannot connect to the accessibility bus, on which programs describe their "
                           "elements: %1")
                .arg(errorText));
    }
    m_connection->setInterruption(interruption);
    m_connection->coalesceMessages();
}

AccessibleRef AtspiConnection::registryRoot()
{
    return {registryName, "/org/a11y/atspi/accessible/root"};
}

unsigned int AtspiConnection::send(
    const AccessibleRef& object, const char* interface, const char* member, const QVariantList& arguments)
{
    if (!m_connection->isOpen())
        throw Failure(ExitStatus::ConnectionLost, QStringLiteral("The accessibility bus has ended"));
    try {
        return m_connection->sendWithReply(
            DBus::Message::call(object.path.constData(), interface, member, arguments)
                .to(object.application.constData()));
    } catch (const std::invalid_argument&) {
        return 0;
    }
}

DBus::Message AtspiConnection::take(unsigned int serial, const QDeadlineTimer& deadline)
{
    if (serial == 0)
        return {};
    const qint64 left = std::max<qint64>(deadline.remainingTime(), 0);
    const DBus::Message reply = m_connection->waitForReply(serial, static_cast<int>(left));
    if (m_connection->wasInterrupted())
        throw operationFailure(QStringLiteral("Interrupted"));
    return reply;
}

void AtspiConnection::requestEvents()
{
    if (m_hasRequestedEvents)
        return;
    m_hasRequestedEvents = true;
    for (const char* const interface : {"Object", "Window"}) {
        m_connection->send(DBus::Message::call("/org/freedesktop/DBus", busInterface, "AddMatch",
            {QStringLiteral("type='signal',interface='org.a11y.atspi.Event.%1'")
                    .arg(QLatin1String(interface))})
                               .to(busInterface));
    }
    for (const char* const event : {"object:children-changed", "object:state-changed",
             "object:property-change", "object:bounds-changed", "object:text-changed", "window:"}) {
        m_connection->send(DBus::Message::call(
            "/org/a11y/atspi/registry", registryInterface, "RegisterEvent", {QString::fromLatin1(event)})
                               .to(registryName));
    }
}

} // namespace Zendra::Runner
