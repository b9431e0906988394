#pragma once

#include <functional>
#include <memory>

#include <QObject>
#include <QVariantList>

#include <dbus/connection.h>

#include "remoteplatform.h"

namespace Zendra::Runner
{

/// What came of a call.
struct Answer {
    QVariantList values; ///< with the types that were asked for; empty after an error
    QString errorText;

    bool isGood() const { return errorText.isEmpty(); }
};

/// The connection to the hook in one application.
///
/// After the connection was lost, or a call was not answered in time, every call fails at once.
class Peer : public QObject
{
    Q_OBJECT

public:
    static constexpr int usualPatience = 30'000; ///< milliseconds

    /// Null when nobody answers at `address`, with the reason in `errorText`.
    static std::unique_ptr<Peer> connectTo(
        const QString& address, int patience, int interruption, QString& errorText);

    const ApplicationInfo& application() const { return m_application; }
    const QString& lossText() const { return m_lossText; }
    bool hasEnded() const { return !m_connection->isOpen(); }

    /// Calls a method of the hook and waits. `signature` has the types of the answer's values.
    Answer call(const char* method, const QVariantList& arguments, const char* signature,
        int patience = usualPatience);
    /// The same for a method that has nothing to say; returns the error text.
    QString run(const char* method, const QVariantList& arguments, int patience = usualPatience);
    /// Calls a method and goes on; what comes of it is not told.
    void send(const char* method, const QVariantList& arguments);
    /// Calls a method and goes on; the number is for the next two.
    unsigned int begin(const char* method, const QVariantList& arguments);
    bool isFinished(unsigned int call);
    void finish(unsigned int call);

    /// The same for an object of the hook's, such as a recording.
    Answer callObject(const QString& path, const char* interface, const char* method,
        const QVariantList& arguments, const char* signature, int patience = usualPatience);
    void sendToObject(
        const QString& path, const char* interface, const char* method, const QVariantList& arguments);
    /// Hands out the signals that have come, without waiting for the event loop.
    void deliver();

Q_SIGNALS:
    /// An object of the hook's has sent a signal.
    void signalled(const Zendra::DBus::Message& signal);
    /// Nothing can be asked any more; lossText() says why.
    void lost();

private:
    Peer() = default;
    Q_DISABLE_COPY(Peer)

    QString introduce(const QString& address, int patience, int interruption);
    void noteDisconnection();
    Answer toAnswer(const DBus::Message& reply, const char* method, const char* signature);
    void lose(const QString& text);
    QString title() const;

    std::unique_ptr<DBus::Connection> m_connection;
    ApplicationInfo m_application;
    QString m_lossText;
};

/// The question what an application is, and what it answered; without a variant where that makes no sense.
DBus::Message introductionCall();
ApplicationInfo toApplicationInfo(const DBus::Message& reply);

} // namespace Zendra::Runner
