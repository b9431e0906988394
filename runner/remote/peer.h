#pragma once

#include <functional>
#include <memory>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QObject>
#include <QVariantList>

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
    static std::unique_ptr<Peer> connectTo(const QString& address, int patience, QString& errorText);
    ~Peer() override;

    const ApplicationInfo& application() const { return m_application; }
    const QString& lossText() const { return m_lossText; }

    /// Calls a method of the hook and waits. `signature` has the types of the answer's values.
    Answer call(const char* method, const QVariantList& arguments, const char* signature,
        int patience = usualPatience);
    /// The same for a method that has nothing to say; returns the error text.
    QString run(const char* method, const QVariantList& arguments, int patience = usualPatience);
    /// Calls a method and goes on; what comes of it is not told.
    void send(const char* method, const QVariantList& arguments);
    /// Calls a method and goes on; pass the call to finish() later.
    QDBusPendingCall begin(const char* method, const QVariantList& arguments);
    void finish(const QDBusPendingCall& call);

    /// The same for an object of the hook's, such as a recording.
    Answer callObject(const QString& path, const char* interface, const char* method,
        const QVariantList& arguments, const char* signature, int patience = usualPatience);
    void sendToObject(
        const QString& path, const char* interface, const char* method, const QVariantList& arguments);
    QDBusConnection& connection() { return m_connection; }

Q_SIGNALS:
    /// Nothing can be asked any more; lossText() says why.
    void lost();

private Q_SLOTS:
    void noteDisconnection();

private:
    explicit Peer(const QString& address);
    Q_DISABLE_COPY(Peer)

    QString introduce(const QString& address, int patience);
    Answer toAnswer(const QDBusMessage& reply, const char* method, const char* signature);
    void lose(const QString& text);
    QString title() const;

    const QString m_connectionName;
    QDBusConnection m_connection;
    ApplicationInfo m_application;
    QString m_lossText;
};

/// The question what an application is, and what it answered; without a variant where that makes no sense.
QDBusMessage introductionCall();
ApplicationInfo toApplicationInfo(const QDBusMessage& reply);

} // namespace Zendra::Runner
