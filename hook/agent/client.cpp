#include "client.h"

#include <cerrno>

#include <unistd.h>

#include <QDBusArgument>
#include <QDBusMessage>

#include "answer.h"
#include "introspection.h"
#include "operation.h"

namespace Zendra::Agent
{

namespace
{

QString hookInterface()
{
    return QStringLiteral("org.zendra.Hook1");
}

QString propertiesInterface()
{
    return QStringLiteral("org.freedesktop.DBus.Properties");
}

/// A call of an operation that waits for its turn.
class Call final : public Job
{
public:
    Call(const Operation& operation, const QDBusMessage& message, std::shared_ptr<Caller> caller,
        Platform& platform)
        : m_operation(operation)
        , m_message(message)
        , m_caller(std::move(caller))
        , m_context {platform, m_caller, m_message.arguments(), 0}
    {
    }

    bool run() override
    {
        if (!m_caller->isConnected)
            return true;
        bool isDone = true;
        try {
            failIf(m_context.platform.load());
            m_context.platform.setFlushSuppressed(m_caller->suppressesFlush);
            const Results results = m_operation.run(m_context);
            isDone = results.has_value();
            if (isDone)
                answer(m_message.createReply(*results));
        } catch (const Failure& failure) {
            answer(m_message.createErrorReply(failure.name(), failure.text()));
        } catch (const std::exception& error) {
            answer(m_message.createErrorReply(operationFailed(), QString::fromLocal8Bit(error.what())));
        }
        return isDone;
    }

    /// Only drags wait in the event loop, and those have no results.
    void heldUp() override { answer(m_message.createReply()); }

private:
    void answer(const QDBusMessage& message)
    {
        if (!std::exchange(m_isAnswered, true) && m_message.isReplyRequired())
            m_caller->connection.send(message);
    }

    const Operation& m_operation;
    QDBusMessage m_message;
    std::shared_ptr<Caller> m_caller;
    Context m_context;
    bool m_isAnswered = false;
};

} // namespace

Client::Client(const QDBusConnection& connection, Platform& platform, Queue& queue)
    : m_caller(std::make_shared<Caller>(connection))
    , m_platform(platform)
    , m_queue(queue)
{
    m_caller->connection.registerVirtualObject(QStringLiteral("/org/zendra/Hook1"), this);
    m_caller->connection.connect({}, QStringLiteral("/org/freedesktop/DBus/Local"),
        QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this, SLOT(leave()));
}

Client::~Client()
{
    m_caller->isConnected = false;
    QDBusConnection::disconnectFromPeer(m_caller->connection.name());
}

QString Client::introspect(const QString& /*path*/) const
{
    return QString::fromUtf8(hookIntrospection);
}

bool Client::handleMessage(const QDBusMessage& message, const QDBusConnection& connection)
{
    if (message.interface() == propertiesInterface()) {
        answerWith(message, connection, [&] { return getProperty(message); });
        return true;
    }
    if (!message.interface().isEmpty() && message.interface() != hookInterface())
        return false;
    try {
        callOperation(message);
    } catch (const Failure& failure) {
        if (message.isReplyRequired())
            connection.send(message.createErrorReply(failure.name(), failure.text()));
    }
    return true;
}

void Client::callOperation(const QDBusMessage& message)
{
    const Operation* operation = findOperation(message.member());
    if (operation == nullptr)
        throw unknownMethod(message);
    expectSignature(message, QLatin1String(operation->signature));
    m_queue.add(std::make_unique<Call>(*operation, message, m_caller, m_platform));
}

QVariantMap Client::properties() const
{
    return {{QStringLiteral("ProgramName"), QString::fromLocal8Bit(program_invocation_short_name)},
        {QStringLiteral("ProcessId"), static_cast<uint>(getpid())},
        {QStringLiteral("Variant"),
            m_platform.variant() == Variant::Qt ? QStringLiteral("qt") : QStringLiteral("pure")},
        {QStringLiteral("Display"), QString::fromLocal8Bit(m_platform.displayName())},
        {QStringLiteral("Version"), QStringLiteral(ZENDRA_VERSION)}};
}

QVariantList Client::getProperty(const QDBusMessage& message) const
{
    const QVariantMap all = properties();
    const QVariantList arguments = message.arguments();
    const QString interface = arguments.value(0).toString();
    if (message.member() == QLatin1String("GetAll")) {
        expectSignature(message, QLatin1String("s"));
        return {interface.isEmpty() || interface == hookInterface() ? all : QVariantMap()};
    }
    if (message.member() == QLatin1String("Set")) {
        throw Failure(QStringLiteral("org.freedesktop.DBus.Error.PropertyReadOnly"),
            QStringLiteral("All properties are read only"));
    }
    if (message.member() != QLatin1String("Get"))
        throw unknownMethod(message);
    expectSignature(message, QLatin1String("ss"));
    const auto property = all.constFind(arguments.at(1).toString());
    if (property == all.constEnd()) {
        throw Failure(QStringLiteral("org.freedesktop.DBus.Error.UnknownProperty"),
            QStringLiteral("There is no property '%1'").arg(arguments.at(1).toString()));
    }
    return {QVariant::fromValue(QDBusVariant(*property))};
}

/// What the caller leaves behind is taken away in its turn: a call of its own may be on its way.
void Client::leave()
{
    m_caller->isConnected = false;
    m_queue.add([caller = m_caller, &platform = m_platform] {
        platform.forget(caller.get());
        caller->recordings.clear();
    });
    Q_EMIT left();
}

} // namespace Zendra::Agent
