#include "client.h"

#include <cerrno>

#include <unistd.h>

#include <protocol/logging.h>

#include "agent/operations/operation.h"
#include "introspection.h"
#include "reply.h"

namespace Zendra::Agent
{

namespace
{

/// A pending call of an operation.
class Call final : public Job
{
public:
    Call(const Operation& operation, const DBus::Message& message, std::shared_ptr<Caller> caller,
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
        const auto results = [&] {
            failIf(m_context.platform.load());
            m_context.platform.setFlushSuppressed(m_caller->suppressesFlush);
            const Results found = m_operation.run(m_context);
            isDone = found.has_value();
            return found.value_or(QVariantList());
        };
        const DBus::Message reply = replyWith(m_message, results);
        if (isDone) {
            qCDebug(agentLog, "%s: %s", m_message.member().data(),
                reply.isReply() ? "done" : reply.errorName().data());
        }
        if (isDone && m_message.wantsReply())
            m_caller->connection->send(reply);
        return isDone;
    }

    const QThread* waitsFor() const override { return m_context.thread.get(); }

private:
    const Operation& m_operation;
    DBus::Message m_message; ///< counts against the connection's limit as long as it lives
    std::shared_ptr<Caller> m_caller;
    Context m_context;
};

/// The names of the child nodes of `path` that lead to `objects`.
QStringList childNames(const QString& path, const QStringList& objects)
{
    const QString folder = path == QLatin1String("/") ? path : path + QLatin1Char('/');
    QStringList names;
    for (const QString& object : objects) {
        if (object.startsWith(folder))
            names.append(object.mid(folder.size()).section(QLatin1Char('/'), 0, 0));
    }
    names.removeDuplicates();
    return names;
}

} // namespace

Client::Client(std::unique_ptr<DBus::Connection> connection, Platform& platform, Queue& queue)
    : m_caller(std::make_shared<Caller>(std::move(connection)))
    , m_platform(platform)
    , m_queue(queue)
{
    connect(m_caller->connection.get(), &DBus::Connection::received, this, &Client::handle);
    connect(m_caller->connection.get(), &DBus::Connection::disconnected, this, &Client::handleDisconnect);
}

Client::~Client()
{
    m_caller->isConnected = false;
    m_caller->connection->close();
}

void Client::handle(const DBus::Message& message)
{
    if (!message.isCall())
        return;
    try {
        handleCall(message);
    } catch (const CallError& error) {
        reply(message, message.error(error.name(), error.text()));
    }
}

void Client::handleCall(const DBus::Message& call)
{
    if (call.interface() == QLatin1String(Protocol::introspectableInterface)) {
        reply(call, replyWith(call, [&] { return introspect(call); }));
        return;
    }
    if (RecordingObject* recording = findRecording(call.path())) {
        reply(call, replyWith(call, [&] { return recording->call(call); }));
        return;
    }
    if (call.path() != QLatin1String(Protocol::hookPath)) {
        throw CallError(Protocol::unknownObject, QStringLiteral("There is no object '%1'").arg(call.path()));
    }
    if (call.interface() == QLatin1String(Protocol::propertiesInterface))
        reply(call, replyWith(call, [&] { return getProperty(call); }));
    else
        callOperation(call);
}

void Client::callOperation(const DBus::Message& call)
{
    const Operation* operation = findOperation(call.member());
    if (operation == nullptr
        || (!call.interface().isEmpty() && call.interface() != QLatin1String(Protocol::hookInterface)))
        throw unknownMethod(call);
    requireSignature(call, operation->signature);
    m_queue.add(std::make_unique<Call>(*operation, call, m_caller, m_platform));
}

void Client::reply(const DBus::Message& call, const DBus::Message& message)
{
    if (call.wantsReply())
        m_caller->connection->send(message);
}

RecordingObject* Client::findRecording(QLatin1String path) const
{
    for (const auto& recording : m_caller->recordings) {
        if (path == recording.second->path())
            return recording.second.get();
    }
    return nullptr;
}

/// The paths of all objects.
QStringList Client::objects() const
{
    QStringList paths {QLatin1String(Protocol::hookPath)};
    for (const auto& recording : m_caller->recordings)
        paths.append(recording.second->path());
    return paths;
}

QVariantList Client::introspect(const DBus::Message& call) const
{
    if (call.member() != QLatin1String("Introspect"))
        throw unknownMethod(call);
    QString xml = QStringLiteral("<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection "
                                 "1.0//EN\"\n \"http://www.freedesktop.org/standards/dbus/1.0/"
                                 "introspect.dtd\">\n<node>");
    if (call.path() == QLatin1String(Protocol::hookPath))
        xml += QString::fromUtf8(hookIntrospection) + QString::fromUtf8(standardIntrospection);
    else if (findRecording(call.path()) != nullptr)
        xml += QString::fromUtf8(recordingIntrospection) + QString::fromUtf8(standardIntrospection);
    for (const QString& name : childNames(call.path(), objects()))
        xml += QStringLiteral("<node name=\"%1\"/>").arg(name);
    return {xml + QLatin1String("</node>\n")};
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

QVariantList Client::getProperty(const DBus::Message& call) const
{
    const QVariantMap all = properties();
    const QVariantList arguments = call.arguments();
    const QString interface = arguments.value(0).toString();
    if (call.member() == QLatin1String("GetAll")) {
        requireSignature(call, "s");
        return {
            interface.isEmpty() || interface == QLatin1String(Protocol::hookInterface) ? all : QVariantMap()};
    }
    if (call.member() == QLatin1String("Set")) {
        throw CallError(Protocol::propertyReadOnly, QStringLiteral("All properties are read only"));
    }
    if (call.member() != QLatin1String("Get"))
        throw unknownMethod(call);
    requireSignature(call, "ss");
    const auto property = all.constFind(arguments.at(1).toString());
    if (property == all.constEnd()) {
        throw CallError(Protocol::unknownProperty,
            QStringLiteral("There is no property '%1'").arg(arguments.at(1).toString()));
    }
    return {QVariant::fromValue(DBus::Variant {*property})};
}

/// Releases what belonged to the caller, in the queue: one of its calls may be in progress.
void Client::handleDisconnect()
{
    qCDebug(agentLog, "A client has disconnected");
    m_caller->isConnected = false;
    m_queue.add([caller = m_caller, &platform = m_platform] {
        platform.forget(caller.get());
        caller->recordings.clear();
    });
    Q_EMIT disconnected();
}

} // namespace Zendra::Agent
