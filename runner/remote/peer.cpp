#include "peer.h"

#include <algorithm>
#include <atomic>

#include <QDBusArgument>
#include <QDBusError>

namespace Zendra::Runner
{

namespace
{

const char hookPath[] = "/org/zendra/Hook1";
const char hookInterface[] = "org.zendra.Hook1";

/// D-Bus closes the connection of who sends more than 128 MiB.
constexpr int longestText = 16 << 20; ///< characters

QString newConnectionName()
{
    static std::atomic<int> count {0};
    return QStringLiteral("zendra-%1").arg(++count);
}

QDBusMessage methodCall(
    const QString& path, const char* interface, const char* method, const QVariantList& arguments)
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(QString(), path, QLatin1String(interface), QLatin1String(method));
    call.setArguments(arguments);
    return call;
}

/// Why a text cannot travel: D-Bus would cut or change it without a word.
QString textRefusal(const QString& text)
{
    if (text.size() > longestText)
        return QStringLiteral("A text for an application can have %1 characters at the most")
            .arg(longestText);
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

bool isNoAnswer(const QDBusMessage& reply)
{
    const QDBusError::ErrorType type = QDBusError(reply).type();
    return type == QDBusError::NoReply || type == QDBusError::Timeout || type == QDBusError::TimedOut
        || type == QDBusError::Disconnected;
}

} // namespace

QDBusMessage introductionCall()
{
    return methodCall(
        QLatin1String(hookPath), "org.freedesktop.DBus.Properties", "GetAll", {QLatin1String(hookInterface)});
}

ApplicationInfo toApplicationInfo(const QDBusMessage& reply)
{
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1String("a{sv}"))
        return {};
    const auto properties = qdbus_cast<QVariantMap>(reply.arguments().constFirst());
    ApplicationInfo info;
    info.name = properties.value(QStringLiteral("ProgramName")).toString();
    info.processId = properties.value(QStringLiteral("ProcessId")).toLongLong();
    info.variant = properties.value(QStringLiteral("Variant")).toString();
    info.display = properties.value(QStringLiteral("Display")).toString();
    return info;
}

std::unique_ptr<Peer> Peer::connectTo(const QString& address, int patience, QString& errorText)
{
    std::unique_ptr<Peer> peer(new Peer(address));
    errorText = peer->introduce(address, patience);
    return errorText.isEmpty() ? std::move(peer) : nullptr;
}

Peer::Peer(const QString& address)
    : m_connectionName(newConnectionName())
    , m_connection(QDBusConnection::connectToPeer(address, m_connectionName))
{
}

Peer::~Peer()
{
    QDBusConnection::disconnectFromPeer(m_connectionName);
}

QString Peer::introduce(const QString& address, int patience)
{
    if (!m_connection.isConnected()) {
        return QStringLiteral("Nothing can be reached at '%1': %2")
            .arg(address, m_connection.lastError().message());
    }
    m_connection.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
        QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
        SLOT(noteDisconnection()));
    const QDBusMessage reply = m_connection.call(introductionCall(), QDBus::Block, patience);
    if (isNoAnswer(reply)) {
        return m_connection.isConnected()
            ? QStringLiteral("What listens at '%1' does not answer").arg(address)
            : QStringLiteral("What listens at '%1' closed the connection").arg(address);
    }
    m_application = toApplicationInfo(reply);
    if (m_application.variant.isEmpty())
        return QStringLiteral("What listens at '%1' is no application with the hook inside").arg(address);
    return {};
}

Answer Peer::call(const char* method, const QVariantList& arguments, const char* signature, int patience)
{
    return callObject(QLatin1String(hookPath), hookInterface, method, arguments, signature, patience);
}

Answer Peer::callObject(const QString& path, const char* interface, const char* method,
    const QVariantList& arguments, const char* signature, int patience)
{
    if (!m_lossText.isEmpty())
        return {{}, m_lossText};
    const QString refused = refusal(arguments);
    if (!refused.isEmpty())
        return {{}, refused};
    return toAnswer(m_connection.call(methodCall(path, interface, method, arguments), QDBus::Block, patience),
        method, signature);
}

QString Peer::run(const char* method, const QVariantList& arguments, int patience)
{
    return call(method, arguments, "", patience).errorText;
}

void Peer::send(const char* method, const QVariantList& arguments)
{
    sendToObject(QLatin1String(hookPath), hookInterface, method, arguments);
}

void Peer::sendToObject(
    const QString& path, const char* interface, const char* method, const QVariantList& arguments)
{
    if (m_lossText.isEmpty() && refusal(arguments).isEmpty())
        m_connection.send(methodCall(path, interface, method, arguments));
}

QDBusPendingCall Peer::begin(const char* method, const QVariantList& arguments)
{
    return m_connection.asyncCall(
        methodCall(QLatin1String(hookPath), hookInterface, method, arguments), usualPatience);
}

void Peer::finish(const QDBusPendingCall& call)
{
    if (call.isError())
        toAnswer(call.reply(), "", "");
}

Answer Peer::toAnswer(const QDBusMessage& reply, const char* method, const char* signature)
{
    if (reply.type() == QDBusMessage::ReplyMessage) {
        if (reply.signature() == QLatin1String(signature))
            return {reply.arguments(), {}};
        return {{},
            QStringLiteral("%1 answers %2 with '%3' where '%4' was expected")
                .arg(title(), QLatin1String(method), reply.signature(), QLatin1String(signature))};
    }
    if (isNoAnswer(reply)) {
        if (m_connection.isConnected())
            lose(QStringLiteral("%1 does not answer").arg(title()));
        else
            noteDisconnection();
        return {{}, m_lossText};
    }
    if (reply.errorName() == QLatin1String("org.zendra.Error.OperationFailed")
        && !reply.errorMessage().isEmpty())
        return {{}, reply.errorMessage()};
    return {{},
        QStringLiteral("%1 refuses %2: %3")
            .arg(title(), QLatin1String(method),
                reply.errorMessage().isEmpty() ? reply.errorName() : reply.errorMessage())};
}

void Peer::noteDisconnection()
{
    lose(QStringLiteral("The connection to application '%1' (%2) was lost")
             .arg(m_application.name)
             .arg(m_application.processId));
}

void Peer::lose(const QString& text)
{
    if (!m_lossText.isEmpty())
        return;
    m_lossText = text;
    Q_EMIT lost();
}

QString Peer::title() const
{
    return QStringLiteral("Application '%1' (%2)").arg(m_application.name).arg(m_application.processId);
}

} // namespace Zendra::Runner
