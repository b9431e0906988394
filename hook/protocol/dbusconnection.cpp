#include "dbusconnection.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <poll.h>

#include <QFile>
#include <QPointer>

namespace Zendra::DBus
{

namespace
{

// Limits of one message; the defaults of libdbus are 128 MiB and 1024 file descriptors.
constexpr long longestMessage = 64 << 20; ///< bytes
constexpr long mostUnixFds = 16;

// Limits of a server's connection, in bytes. Pending calls count: the first limit is some hundred of them.
constexpr long receivedLimit = 128 << 10;
constexpr long outgoingLimit = 8 << 20;

/// Messages that are queued while a reply is awaited. Segments are acknowledged, so a peer that sends more is
/// hostile, as is one that reaches the limit of libdbus, 63 MiB: an update of a large screen has less.
constexpr std::size_t mostQueued = 10'000;

constexpr int interruptedTimeout = 2000; ///< milliseconds

bool isReadable(int fileDescriptor)
{
    pollfd readable {fileDescriptor, POLLIN, 0};
    return fileDescriptor >= 0 && poll(&readable, 1, 0) > 0;
}

} // namespace

std::unique_ptr<Connection> Connection::open(const QString& address, QString& errorText)
{
    if (!address.startsWith(QLatin1String("unix:"))) {
        errorText = QStringLiteral("not an address such as unix:path=/run/x");
        return nullptr;
    }
    DBusError error;
    dbus_error_init(&error);
    DBusConnection* connection = dbus_connection_open_private(address.toUtf8().constData(), &error);
    errorText = QString::fromUtf8(error.message);
    dbus_error_free(&error);
    return connection != nullptr ? std::make_unique<Connection>(connection) : nullptr;
}

std::unique_ptr<Connection> Connection::openBus(const QString& address, int timeout, QString& errorText)
{
    std::unique_ptr<Connection> connection = open(address, errorText);
    if (!connection)
        return nullptr;
    const Message hello
        = Message::call(DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "Hello", {}).to(DBUS_SERVICE_DBUS);
    const Message reply = connection->call(hello, timeout);
    if (reply.isReply())
        return connection;
    errorText = reply.isValid() ? reply.errorText() : QStringLiteral("it does not answer");
    return nullptr;
}

void Connection::Close::operator()(DBusConnection* connection) const
{
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
}

void Connection::Cancel::operator()(DBusPendingCall* call) const
{
    dbus_pending_call_cancel(call);
    dbus_pending_call_unref(call);
}

Connection::Connection(DBusConnection* connection)
    : m_watches({[this] { process(); }, [this] { processLater(); }})
    , m_connection(connection)
    , m_outgoingLimit(std::numeric_limits<long>::max())
{
    dbus_connection_set_exit_on_disconnect(connection, 0);
    dbus_connection_set_max_message_size(connection, longestMessage);
    dbus_connection_set_max_message_unix_fds(connection, mostUnixFds);
    dbus_connection_set_max_received_unix_fds(connection, mostUnixFds);
    dbus_connection_add_filter(connection, &filter, this, nullptr);
    m_watches.attach(connection);
}

Connection::~Connection()
{
    m_pendingCalls.clear();
    dbus_connection_set_watch_functions(m_connection.get(), nullptr, nullptr, nullptr, nullptr, nullptr);
    dbus_connection_remove_filter(m_connection.get(), &filter, this);
}

void Connection::applyBackPressure()
{
    dbus_connection_set_max_received_size(m_connection.get(), receivedLimit);
    m_outgoingLimit = outgoingLimit;
}

void Connection::close()
{
    m_isSilent = true;
    m_received.clear();
    dbus_connection_close(m_connection.get());
}

bool Connection::canSendUnixFds() const
{
    return dbus_connection_can_send_type(m_connection.get(), DBUS_TYPE_UNIX_FD) != 0;
}

void Connection::send(const Message& message)
{
    if (message.isCall())
        dbus_message_set_no_reply(message.get(), 1);
    const bool wasCongested = isCongested();
    dbus_connection_send(m_connection.get(), message.get(), nullptr);
    if (wasCongested && !isCongested())
        processLater();
    m_watches.update();
}

unsigned int Connection::sendWithReply(const Message& call)
{
    DBusPendingCall* pending = nullptr;
    dbus_connection_send_with_reply(m_connection.get(), call.get(), &pending, DBUS_TIMEOUT_INFINITE);
    m_watches.update();
    const unsigned int serial = dbus_message_get_serial(call.get());
    if (pending != nullptr)
        m_pendingCalls[serial].reset(pending);
    return serial;
}

bool Connection::hasReply(unsigned int serial)
{
    m_watches.poll(0);
    dispatch();
    if (!m_received.empty() || m_isDisconnected)
        processLater();
    const auto call = m_pendingCalls.find(serial);
    return call == m_pendingCalls.end() || dbus_pending_call_get_completed(call->second.get()) != 0;
}

Message Connection::waitForReply(unsigned int serial, int timeout)
{
    m_wasInterrupted = false;
    const auto found = m_pendingCalls.find(serial);
    if (found == m_pendingCalls.end())
        return {};
    const PendingCall call = std::move(found->second);
    m_pendingCalls.erase(found);
    QDeadlineTimer deadline(timeout, Qt::PreciseTimer);
    const auto isPending = [&] {
        dispatch();
        if (dbus_pending_call_get_completed(call.get()) != 0)
            return false;
        if (!m_received.empty() && !m_watches.isReading())
            closeFlooded();
        return isOpen();
    };
    while (isPending() && !deadline.hasExpired()) {
        m_watches.poll(static_cast<int>(deadline.remainingTime()), m_wasInterrupted ? -1 : m_interruption);
        if (!m_wasInterrupted && isReadable(m_interruption)) {
            m_wasInterrupted = true;
            if (m_interruptedDeadline.isForever())
                m_interruptedDeadline = QDeadlineTimer(interruptedTimeout, Qt::PreciseTimer);
            deadline = std::min(deadline, m_interruptedDeadline);
        }
    }
    if (!m_received.empty() || m_isDisconnected)
        processLater();
    if (dbus_pending_call_get_completed(call.get()) == 0)
        return {};
    const Message reply(dbus_pending_call_steal_reply(call.get()));
    // libdbus completes pending calls with an error when the connection is lost.
    const bool isLost = !isOpen() && reply.errorName() == QLatin1String(DBUS_ERROR_NO_REPLY);
    return isLost ? Message() : reply;
}

/// Back-pressure: the messages of a peer that does not read its replies are not dispatched.
void Connection::dispatch()
{
    while (!isCongested() && dbus_connection_dispatch(m_connection.get()) == DBUS_DISPATCH_DATA_REMAINS) { }
}

bool Connection::isCongested() const
{
    return isOpen() && dbus_connection_get_outgoing_size(m_connection.get()) >= m_outgoingLimit;
}

DBusHandlerResult Connection::filter(DBusConnection* /*connection*/, DBusMessage* message, void* self)
{
    auto& connection = *static_cast<Connection*>(self);
    const Message copy(dbus_message_ref(message));
    if (dbus_message_is_signal(message, DBUS_INTERFACE_LOCAL, "Disconnected") != 0)
        connection.m_isDisconnected = true;
    else if (connection.m_isCoalescing && !connection.m_received.empty())
        return DBUS_HANDLER_RESULT_HANDLED;
    else if (connection.m_received.size() >= mostQueued)
        connection.closeFlooded();
    else if ((copy.isCall() || copy.isSignal()) && !connection.m_isSilent)
        connection.m_received.push_back(copy);
    return DBUS_HANDLER_RESULT_HANDLED;
}

void Connection::closeFlooded()
{
    m_wasFlooded = true;
    dbus_connection_close(m_connection.get());
}

void Connection::processLater()
{
    if (!std::exchange(m_isScheduled, true))
        QMetaObject::invokeMethod(this, "process", Qt::QueuedConnection);
}

/// Re-entrant: receivers may run event loops, and may delete this.
void Connection::process()
{
    m_isScheduled = false;
    dispatch();
    const QPointer<Connection> self(this);
    while (self && !m_received.empty() && !isCongested()) {
        const Message message = std::move(m_received.front());
        m_received.pop_front();
        Q_EMIT received(message);
    }
    if (self && m_isDisconnected && m_received.empty() && !std::exchange(m_isSilent, true))
        Q_EMIT disconnected();
}

QString toAddress(const QString& path)
{
    const std::unique_ptr<char, decltype(&dbus_free)> escaped(
        dbus_address_escape_value(QFile::encodeName(path).constData()), &dbus_free);
    return QLatin1String("unix:path=") + QString::fromUtf8(escaped.get());
}

QString toPath(const QString& address)
{
    DBusAddressEntry** entries = nullptr;
    int count = 0;
    if (dbus_parse_address(address.toUtf8().constData(), &entries, &count, nullptr) == 0)
        return {};
    const QString path
        = count > 0 ? QFile::decodeName(dbus_address_entry_get_value(entries[0], "path")) : QString();
    dbus_address_entries_free(entries);
    return path;
}

} // namespace Zendra::DBus
