#include "peer.h"

#include <utility>

namespace Zendra::Runner
{

namespace
{

const char hookPath[] = "/org/zendra/Hook1";
const char hookInterface[] = "org.zendra.Hook1";

/// D-Bus closes the connection of who sends more than 128 MiB.
constexpr int longestText = 16 << 20; ///< characters

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

} // namespace

DBus::Message introductionCall()
{
    return DBus::Message::call(static_cast<const char*>(hookPath), "org.freedesktop.DBus.Properties",
        "GetAll", {QLatin1String(hookInterface)});
}

ApplicationInfo toApplicationInfo(const DBus::Message& reply)
{
    if (reply.type() != DBus::Message::Type::Reply || reply.signature() != QLatin1String("a{sv}"))
        return {};
    const QVariantMap properties = reply.arguments().constFirst().toMap();
    ApplicationInfo info;
    info.name = properties.value(QStringLiteral("ProgramName")).toString();
    info.processId = properties.value(QStringLiteral("ProcessId")).toLongLong();
    info.variant = properties.value(QStringLiteral("Variant")).toString();
    info.display = properties.value(QStringLiteral("Display")).toString();
    return info;
}

std::unique_ptr<Peer> Peer::connectTo(
    const QString& address, int patience, int interruption, QString& errorText)
{
    std::unique_ptr<Peer> peer(new Peer);
    errorText = peer->introduce(address, patience, interruption);
    return errorText.isEmpty() ? std::move(peer) : nullptr;
}

QString Peer::introduce(const QString& address, int patience, int interruption)
{
    QString reason;
    m_connection = DBus::Connection::open(address, reason);
    if (m_connection == nullptr)
        return QStringLiteral("Nothing can be reached at '%1': %2").arg(address, reason);
    m_connection->setInterruption(interruption);
    connect(m_connection.get(), &DBus::Connection::received, this, &Peer::signalled);
    connect(m_connection.get(), &DBus::Connection::disconnected, this, &Peer::noteDisconnection);
    const DBus::Message reply = m_connection->call(introductionCall(), patience);
    if (reply.type() == DBus::Message::Type::None) {
        return m_connection->isOpen()
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
    return callObject(QLatin1String(hookPath), static_cast<const char*>(hookInterface), method, arguments,
        signature, patience);
}

Answer Peer::callObject(const QString& path, const char* interface, const char* method,
    const QVariantList& arguments, const char* signature, int patience)
{
    if (!m_lossText.isEmpty())
        return {{}, m_lossText};
    const QString refused = refusal(arguments);
    if (!refused.isEmpty())
        return {{}, refused};
    const auto call = DBus::Message::call(path.toLatin1().constData(), interface, method, arguments);
    return toAnswer(m_connection->call(call, patience), method, signature);
}

QString Peer::run(const char* method, const QVariantList& arguments, int patience)
{
    return call(method, arguments, "", patience).errorText;
}

void Peer::send(const char* method, const QVariantList& arguments)
{
    sendToObject(QLatin1String(hookPath), static_cast<const char*>(hookInterface), method, arguments);
}

void Peer::sendToObject(
    const QString& path, const char* interface, const char* method, const QVariantList& arguments)
{
    if (m_lossText.isEmpty() && refusal(arguments).isEmpty())
        m_connection->send(DBus::Message::call(path.toLatin1().constData(), interface, method, arguments));
}

unsigned int Peer::begin(const char* method, const QVariantList& arguments)
{
    return m_connection->begin(DBus::Message::call(
        static_cast<const char*>(hookPath), static_cast<const char*>(hookInterface), method, arguments));
}

bool Peer::isFinished(unsigned int call)
{
    return m_connection->isAnswered(call);
}

void Peer::finish(unsigned int call)
{
    toAnswer(m_connection->waitFor(call, usualPatience), "", "");
}

void Peer::deliver()
{
    m_connection->deliver();
}

Answer Peer::toAnswer(const DBus::Message& reply, const char* method, const char* signature)
{
    if (reply.type() == DBus::Message::Type::Reply) {
        if (reply.signature() == QLatin1String(signature))
            return {reply.arguments(), {}};
        return {{},
            QStringLiteral("%1 answers %2 with '%3' where '%4' was expected")
                .arg(title(), QLatin1String(method), reply.signature(), QLatin1String(signature))};
    }
    if (reply.type() == DBus::Message::Type::None) {
        if (m_connection->isOpen() && m_connection->wasInterrupted())
            return {{}, QStringLiteral("%1 had not answered when interrupted").arg(title())};
        if (m_connection->isOpen())
            lose(QStringLiteral("%1 does not answer").arg(title()));
        else
            noteDisconnection();
        return {{}, m_lossText};
    }
    const QString text = reply.errorText();
    if (reply.errorName() == QLatin1String("org.zendra.Error.OperationFailed") && !text.isEmpty())
        return {{}, text};
    return {{},
        QStringLiteral("%1 refuses %2: %3")
            .arg(title(), QLatin1String(method), text.isEmpty() ? QString(reply.errorName()) : text)};
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
