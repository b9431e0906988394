#include "peer.h"

#include <utility>

#include <QElapsedTimer>

#include <protocol/logging.h>
#include <protocol/names.h>

namespace Zendra::Runner
{

namespace
{

/// The longest operation, a text of two thousand characters, takes a slow application a few seconds. After a
/// timeout no other call waits.
constexpr int replyTimeout = 30'000; ///< milliseconds

/// The hook takes messages of 64 MiB; a character has three bytes at most.
constexpr int longestText = 16 << 20; ///< characters

/// Why a text cannot be sent as UTF-8.
QString textRefusal(const QString& text)
{
    if (text.size() > longestText)
        return QStringLiteral("A text for an application can have at most %1 characters").arg(longestText);
    if (text.contains(QChar(0)))
        return QStringLiteral("The character U+0000 cannot be sent to an application");
    for (int index = 0; index < text.size(); ++index) {
        const bool isPair = text.at(index).isHighSurrogate() && index + 1 < text.size()
            && text.at(index + 1).isLowSurrogate();
        if (text.at(index).isSurrogate() && !isPair) {
            return QStringLiteral("Half a character (U+%1) cannot be sent to an application")
                .arg(text.at(index).unicode(), 4, 16, QLatin1Char('0'));
        }
        index += isPair ? 1 : 0;
    }
    return {};
}

QString refusal(const QVariantList& arguments)
{
    for (const QVariant& argument : arguments) {
        const QString text
            = argument.userType() == QMetaType::QString ? textRefusal(argument.toString()) : QString();
        if (!text.isEmpty())
            return text;
    }
    return {};
}

} // namespace

DBus::Message propertiesCall()
{
    return DBus::Message::call(Protocol::hookPath, Protocol::propertiesInterface, "GetAll",
        {QLatin1String(Protocol::hookInterface)});
}

ApplicationInfo toApplicationInfo(const DBus::Message& reply)
{
    if (!reply.isReply() || reply.signature() != QLatin1String("a{sv}"))
        return {};
    const QVariantMap properties = reply.arguments().value(0).toMap();
    ApplicationInfo info;
    info.name = properties.value(QStringLiteral("ProgramName")).toString();
    info.processId = properties.value(QStringLiteral("ProcessId")).toLongLong();
    info.variant = properties.value(QStringLiteral("Variant")).toString();
    info.display = properties.value(QStringLiteral("Display")).toString();
    return info;
}

std::unique_ptr<Peer> Peer::connectTo(
    const QString& address, int timeout, int interruption, QString& errorText)
{
    std::unique_ptr<Peer> peer(new Peer);
    errorText = peer->connectAndIdentify(address, timeout, interruption);
    return errorText.isEmpty() ? std::move(peer) : nullptr;
}

QString Peer::connectAndIdentify(const QString& address, int timeout, int interruption)
{
    QString reason;
    m_connection = DBus::Connection::open(address, reason);
    if (m_connection == nullptr)
        return QStringLiteral("Cannot connect to '%1': %2").arg(address, reason);
    m_connection->setInterruption(interruption);
    connect(m_connection.get(), &DBus::Connection::received, this, &Peer::received);
    connect(m_connection.get(), &DBus::Connection::disconnected, this, &Peer::handleDisconnect);
    const DBus::Message reply = m_connection->call(propertiesCall(), timeout);
    if (!reply.isValid()) {
        return m_connection->isOpen()
            ? QStringLiteral("The process that listens at '%1' does not answer").arg(address)
            : QStringLiteral("The process that listens at '%1' closed the connection").arg(address);
    }
    m_application = toApplicationInfo(reply);
    if (m_application.variant.isEmpty())
        return QStringLiteral("The process that listens at '%1' has no hook inside").arg(address);
    qCDebug(remoteLog, "Connected to '%s' (%lld, %s) at %s", qPrintable(m_application.name),
        m_application.processId, qPrintable(m_application.variant), qPrintable(address));
    return {};
}

Reply Peer::call(const char* method, const QVariantList& arguments, const char* signature)
{
    return callObject(
        QLatin1String(Protocol::hookPath), Protocol::hookInterface, method, arguments, signature);
}

Reply Peer::callObject(const QString& path, const char* interface, const char* method,
    const QVariantList& arguments, const char* signature)
{
    if (!m_disconnectReason.isEmpty())
        return {{}, m_disconnectReason};
    const QString refused = refusal(arguments);
    if (!refused.isEmpty())
        return {{}, refused};
    const auto call = DBus::Message::call(path.toLatin1().constData(), interface, method, arguments);
    QElapsedTimer timer;
    timer.start();
    const DBus::Message reply = m_connection->call(call, replyTimeout);
    qCDebug(remoteLog, "%s returned after %lld ms: %s", method, timer.elapsed(),
        reply.isReply()       ? "done"
            : reply.isValid() ? reply.errorName().data()
                              : "no reply");
    return toReply(reply, method, signature);
}

QString Peer::run(const char* method, const QVariantList& arguments)
{
    return call(method, arguments, "").errorText;
}

void Peer::send(const char* method, const QVariantList& arguments)
{
    sendToObject(QLatin1String(Protocol::hookPath), Protocol::hookInterface, method, arguments);
}

void Peer::sendToObject(
    const QString& path, const char* interface, const char* method, const QVariantList& arguments)
{
    if (m_disconnectReason.isEmpty() && refusal(arguments).isEmpty())
        m_connection->send(DBus::Message::call(path.toLatin1().constData(), interface, method, arguments));
}

unsigned int Peer::sendWithReply(const char* method, const QVariantList& arguments)
{
    return m_connection->sendWithReply(
        DBus::Message::call(Protocol::hookPath, Protocol::hookInterface, method, arguments));
}

bool Peer::hasReply(unsigned int serial)
{
    return m_connection->hasReply(serial);
}

bool Peer::isConnected()
{
    m_connection->hasReply(0);
    m_connection->process();
    return m_disconnectReason.isEmpty();
}

void Peer::waitForReply(unsigned int serial)
{
    toReply(m_connection->waitForReply(serial, replyTimeout), "", "");
}

void Peer::process()
{
    m_connection->process();
}

Reply Peer::toReply(const DBus::Message& reply, const char* method, const char* signature)
{
    if (reply.isReply()) {
        if (reply.signature() == QLatin1String(signature))
            return {reply.arguments(), {}};
        return {{},
            QStringLiteral("%1 replied to %2 with '%3' where '%4' was expected")
                .arg(title(), QLatin1String(method), reply.signature(), QLatin1String(signature))};
    }
    if (!reply.isValid()) {
        if (m_connection->isOpen() && m_connection->wasInterrupted())
            return {{}, QStringLiteral("%1 had not replied when interrupted").arg(title())};
        if (m_connection->isOpen())
            lose(QStringLiteral("%1 does not answer").arg(title()));
        else
            handleDisconnect();
        return {{}, m_disconnectReason};
    }
    const QString text = reply.errorText();
    if (reply.errorName() == QLatin1String(Protocol::operationFailed) && !text.isEmpty())
        return {{}, text};
    return {{},
        QStringLiteral("%1 refused %2: %3")
            .arg(title(), QLatin1String(method), text.isEmpty() ? QString(reply.errorName()) : text)};
}

void Peer::handleDisconnect()
{
    lose(m_connection->wasFlooded()
            ? QStringLiteral("%1 was disconnected: it sends signals without end").arg(title())
            : QStringLiteral("The connection to application '%1' (%2) was lost")
                  .arg(m_application.name)
                  .arg(m_application.processId));
}

void Peer::lose(const QString& text)
{
    if (!m_disconnectReason.isEmpty())
        return;
    m_disconnectReason = text;
    qCDebug(remoteLog, "Disconnected: %s", qPrintable(text));
    Q_EMIT lost();
}

QString Peer::title() const
{
    return QStringLiteral("Application '%1' (%2)").arg(m_application.name).arg(m_application.processId);
}

} // namespace Zendra::Runner
