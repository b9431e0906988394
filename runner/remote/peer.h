#pragma once

#include <functional>
#include <memory>

#include <QObject>
#include <QVariantList>

#include <protocol/dbusconnection.h>

#include "remoteplatform.h"

namespace Zendra::Runner
{

/// The outcome of a call.
struct Reply {
    QVariantList values; ///< of the expected types; empty after an error
    QString errorText;

    bool isGood() const { return errorText.isEmpty(); }
};

/// The connection to the hook in one application.
///
/// After a disconnect or a timeout every call fails at once.
class Peer : public QObject
{
    Q_OBJECT

public:
    /// Null when no hook replies at `address`, with the reason in `errorText`.
    static std::unique_ptr<Peer> connectTo(
        const QString& address, int timeout, int interruption, QString& errorText);

    const ApplicationInfo& application() const { return m_application; }
    const QString& disconnectReason() const { return m_disconnectReason; }
    bool hasEnded() const { return !m_connection->isOpen(); }
    /// Reads pending messages, which also detects the application's end.
    bool isConnected();

    /// Calls a method of the hook and waits, 30 seconds at the most. `signature` has the types of the reply's
    /// values.
    Reply call(const char* method, const QVariantList& arguments, const char* signature);
    /// The same for a method without results; returns the error text.
    QString run(const char* method, const QVariantList& arguments);
    /// Calls a method without a reply.
    void send(const char* method, const QVariantList& arguments);
    /// Calls a method without waiting; returns the serial number for the functions below.
    unsigned int sendWithReply(const char* method, const QVariantList& arguments);
    bool hasReply(unsigned int serial);
    void waitForReply(unsigned int serial);

    /// The same as call() and send() for another object, such as a recording.
    Reply callObject(const QString& path, const char* interface, const char* method,
        const QVariantList& arguments, const char* signature);
    void sendToObject(
        const QString& path, const char* interface, const char* method, const QVariantList& arguments);
    /// Emits received() for the signals read so far.
    void process();

Q_SIGNALS:
    /// An object of the hook has sent a signal.
    void received(const Zendra::DBus::Message& signal);
    /// No further calls are possible; disconnectReason() says why.
    void lost();

private:
    Peer() = default;
    Q_DISABLE_COPY(Peer)

    QString connectAndIdentify(const QString& address, int timeout, int interruption);
    void handleDisconnect();
    Reply toReply(const DBus::Message& reply, const char* method, const char* signature);
    void lose(const QString& text);
    QString title() const;

    std::unique_ptr<DBus::Connection> m_connection;
    ApplicationInfo m_application;
    QString m_disconnectReason;
};

/// The call that asks an application for its properties, and the reply; without a variant where that is not
/// valid.
DBus::Message propertiesCall();
ApplicationInfo toApplicationInfo(const DBus::Message& reply);

} // namespace Zendra::Runner
