#include "client.h"

#include <cerrno>

#include <unistd.h>

#include "agent/operations/operation.h"
#include "answer.h"
#include "introspection.h"

namespace Zendra::Agent
{

namespace
{

const QLatin1String hookPath("/org/zendra/Hook1");
const QLatin1String hookInterface("org.zendra.Hook1");
const QLatin1String introspectable("org.freedesktop.DBus.Introspectable");
const QLatin1String propertiesInterface("org.freedesktop.DBus.Properties");

/// Whoever has so many calls waiting is not listened to until they are done.
constexpr int mostWaitingCalls = 1000;

/// A call of an operation that waits for its turn.
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
        if (++m_caller->waitingCalls >= mostWaitingCalls)
            m_caller->connection->hold(true);
    }
    ~Call() override
    {
        if (--m_caller->waitingCalls == 0)
            m_caller->connection->hold(false);
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
        const DBus::Message message = answerWith(m_message, results);
        if (isDone)
            answer(message);
        return isDone;
    }

    const QThread* waitsFor() const override { return m_context.aside.get(); }

private:
    void answer(const DBus::Message& message)
    {
        if (m_message.wantsReply())
            m_caller->connection->send(message);
    }

    const Operation& m_operation;
    DBus::Message m_message;
    std::shared_ptr<Caller> m_caller;
    Context m_context;
};

/// The names of the objects that are one step below `path` on the way to `objects`.
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
    connect(m_caller->connection.get(), &DBus::Connection::received, this, &Client::take);
    connect(m_caller->connection.get(), &DBus::Connection::disconnected, this, &Client::leave);
}

Client::~Client()
{
    m_caller->isConnected = false;
    m_caller->connection->close();
}

void Client::take(const DBus::Message& message)
{
    if (message.type() != DBus::Message::Type::Call)
        return;
    try {
        takeCall(message);
    } catch (const Failure& failure) {
        answer(message, message.error(failure.name(), failure.text()));
    }
}

void Client::takeCall(const DBus::Message& call)
{
    if (call.interface() == introspectable) {
        answer(call, answerWith(call, [&] { return introspect(call); }));
        return;
    }
    if (Recording* recording = findRecording(call.path())) {
        answer(call, answerWith(call, [&] { return recording->call(call); }));
        return;
    }
    if (call.path() != hookPath) {
        throw Failure(QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"),
            QStringLiteral("There is no object '%1'").arg(call.path()));
    }
    if (call.interface() == propertiesInterface)
        answer(call, answerWith(call, [&] { return getProperty(call); }));
    else
        callOperation(call);
}

void Client::callOperation(const DBus::Message& call)
{
    const Operation* operation = findOperation(call.member());
    if (operation == nullptr || (!call.interface().isEmpty() && call.interface() != hookInterface))
        throw unknownMethod(call);
    expectSignature(call, QLatin1String(operation->signature));
    m_queue.add(std::make_unique<Call>(*operation, call, m_caller, m_platform));
}

void Client::answer(const DBus::Message& call, const DBus::Message& message)
{
    if (call.wantsReply())
        m_caller->connection->send(message);
}

Recording* Client::findRecording(QLatin1String path) const
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
    QStringList paths {hookPath};
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
    if (call.path() == hookPath)
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
    const QVariantList& arguments = call.arguments();
    const QString interface = arguments.value(0).toString();
    if (call.member() == QLatin1String("GetAll")) {
        expectSignature(call, QLatin1String("s"));
        return {interface.isEmpty() || interface == hookInterface ? all : QVariantMap()};
    }
    if (call.member() == QLatin1String("Set")) {
        throw Failure(QStringLiteral("org.freedesktop.DBus.Error.PropertyReadOnly"),
            QStringLiteral("All properties are read only"));
    }
    if (call.member() != QLatin1String("Get"))
        throw unknownMethod(call);
    expectSignature(call, QLatin1String("ss"));
    const auto property = all.constFind(arguments.at(1).toString());
    if (property == all.constEnd()) {
        throw Failure(QStringLiteral("org.freedesktop.DBus.Error.UnknownProperty"),
            QStringLiteral("There is no property '%1'").arg(arguments.at(1).toString()));
    }
    return {QVariant::fromValue(DBus::Variant {*property})};
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
