#include "hookedprogram.h"

#include <QDBusPendingCall>
#include <QDir>
#include <QUuid>

#include "wait.h"

namespace Zendra::Tests
{

namespace
{

QDBusMessage message(const QString& interface, const QString& method, const QVariantList& arguments)
{
    QDBusMessage call
        = QDBusMessage::createMethodCall({}, QStringLiteral("/org/zendra/Hook1"), interface, method);
    call.setArguments(arguments);
    return call;
}

} // namespace

HookedProgram::HookedProgram(const XServer& server, const QStringList& words, const QStringList& environment)
{
    QStringList variables = QProcess::systemEnvironment();
    variables << QStringLiteral("DISPLAY=%1").arg(QString::fromStdString(server.displayName()))
              << QStringLiteral("XDG_RUNTIME_DIR=%1").arg(m_folder.path())
              << QStringLiteral("LD_PRELOAD=%1").arg(QStringLiteral(ZENDRA_PRELOAD))
              << QStringLiteral("NO_AT_BRIDGE=1") << environment;
    m_process.setEnvironment(variables);
    m_process.start(words.first(), words.mid(1));
    m_process.waitForStarted();
}

HookedProgram::~HookedProgram()
{
    m_process.kill();
    m_process.waitForFinished();
}

qint64 HookedProgram::serving()
{
    waitFor([this] { return !sockets().isEmpty() || m_process.state() != QProcess::Running; });
    const QStringList found = sockets();
    if (!found.isEmpty())
        m_serving = found.first().toLongLong();
    return m_serving;
}

QStringList HookedProgram::sockets() const
{
    return QDir(file(QStringLiteral("zendra"))).entryList(QDir::System);
}

QString HookedProgram::address()
{
    return QStringLiteral("unix:path=%1/%2").arg(file(QStringLiteral("zendra"))).arg(serving());
}

std::string HookedProgram::output()
{
    m_output += m_process.readAllStandardOutput();
    return m_output.toStdString();
}

std::string HookedProgram::errors()
{
    return m_process.readAllStandardError().toStdString();
}

HookClient::HookClient(const QString& address)
    : m_name(QUuid::createUuid().toString())
    , m_connection(QDBusConnection::connectToPeer(address, m_name))
{
}

HookClient::~HookClient()
{
    QDBusConnection::disconnectFromPeer(m_name);
}

QDBusMessage HookClient::call(const QString& method, const QVariantList& arguments) const
{
    return call("org.zendra.Hook1", method, arguments);
}

QDBusMessage HookClient::call(
    const char* interface, const QString& method, const QVariantList& arguments) const
{
    return m_connection.call(message(QLatin1String(interface), method, arguments), QDBus::Block, 10'000);
}

std::string HookClient::error(const QString& method, const QVariantList& arguments) const
{
    return text(call(method, arguments).errorName().section(QLatin1Char('.'), -1));
}

void HookClient::send(const QString& method, const QVariantList& arguments) const
{
    m_connection.asyncCall(message(QStringLiteral("org.zendra.Hook1"), method, arguments));
}

} // namespace Zendra::Tests
