#pragma once

#include <deque>
#include <map>
#include <memory>

#include <QDeadlineTimer>
#include <QObject>
#include <QString>

#include "dbusmessage.h"
#include "dbuswatches.h"

namespace Zendra::DBus
{

/// A private libdbus connection between two processes, used by one thread and its event loop.
class Connection : public QObject
{
    Q_OBJECT

public:
    /// Connects to the address of a Unix socket; null after an error. Waits only for a stopped process whose
    /// queue of connections is full; libdbus servers have one of SOMAXCONN.
    static std::unique_ptr<Connection> open(const QString& address, QString& errorText);
    /// The same for a message bus, which gives the connection a name within `timeout` milliseconds.
    static std::unique_ptr<Connection> openBus(const QString& address, int timeout, QString& errorText);
    /// Takes over a reference to a private connection.
    explicit Connection(DBusConnection* connection);
    ~Connection() override;

    /// Applies back-pressure to a peer that sends calls faster than they are answered, or does not read the
    /// replies.
    void applyBackPressure();

    bool isOpen() const { return dbus_connection_get_is_connected(m_connection.get()) != 0; }
    /// Closes the connection without a further signal.
    void close();
    bool canSendUnixFds() const;

    /// Sends a message; a call is marked as one that wants no reply.
    void send(const Message& message);
    /// Sends a call; returns the serial number of the reply that is pending.
    unsigned int sendWithReply(const Message& call);
    /// Whether the reply has come, or cannot come any more.
    bool hasReply(unsigned int serial);
    /// Drops a reply that is pending.
    void cancel(unsigned int serial) { m_pendingCalls.erase(serial); }
    /// From now on calls and signals that follow one that has not been emitted are dropped: for a receiver
    /// that only wants to know whether something has happened.
    void coalesceMessages() { m_isCoalescing = true; }
    /// Waits without an event loop. Invalid after `timeout` milliseconds or when the connection was lost. A
    /// pending reply can be taken once.
    Message waitForReply(unsigned int serial, int timeout);
    Message call(const Message& call, int timeout) { return waitForReply(sendWithReply(call), timeout); }
    /// Once this file is readable (the user has interrupted the command), replies are awaited for two more
    /// seconds, all of them together.
    void setInterruption(int fileDescriptor) { m_interruption = fileDescriptor; }
    /// Whether the last wait was interrupted.
    bool wasInterrupted() const { return m_wasInterrupted; }
    /// Whether the connection was closed because the peer sent too much while a reply was awaited.
    bool wasFlooded() const { return m_wasFlooded; }

    /// Emits received() for what has been read so far.
    Q_INVOKABLE void process();

Q_SIGNALS:
    /// A call or signal has come.
    void received(const Zendra::DBus::Message& message);
    void disconnected();

private:
    Q_DISABLE_COPY(Connection)

    struct Close {
        void operator()(DBusConnection* connection) const;
    };
    struct Cancel {
        void operator()(DBusPendingCall* call) const;
    };
    using PendingCall = std::unique_ptr<DBusPendingCall, Cancel>;

    static DBusHandlerResult filter(DBusConnection* connection, DBusMessage* message, void* self);
    void dispatch();
    bool isCongested() const;
    void closeFlooded();
    void processLater();

    Watches m_watches;
    const std::unique_ptr<DBusConnection, Close> m_connection;
    std::map<unsigned int, PendingCall> m_pendingCalls; ///< by serial number
    std::deque<Message> m_received;
    long m_outgoingLimit; ///< bytes
    int m_interruption = -1;
    bool m_wasInterrupted = false;
    bool m_wasFlooded = false;
    QDeadlineTimer m_interruptedDeadline {QDeadlineTimer::Forever};
    bool m_isDisconnected = false; ///< and received() was emitted for all that came before
    bool m_isCoalescing = false;
    bool m_isSilent = false;
    bool m_isScheduled = false;
};

/// A path of a Unix socket as a D-Bus address.
QString toAddress(const QString& path);
/// The path in a D-Bus address; empty for an address without one.
QString toPath(const QString& address);

} // namespace Zendra::DBus
