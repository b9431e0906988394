#include "hookedprogram.h"

#include <QDBusPendingCall>
#include <QDir>
#include <QUuid>

#include "wait.h"

namespace Zendra::Tests
{

namespace
{

QDBusMessage message(const char* interface, const char* method, const QVariantList& arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall({}, q("/org/zendra/Hook1"), q(interface), q(method));
    call.setArguments(arguments);
    return call;
}

} // namespace

HookedProgram::HookedProgram(const XServer& server, const QStringList& words)
{
    setEnvironment(systemEnvironment()
        + QStringList {q("DISPLAY=%1").arg(q(server.displayName().c_str())),
            q("XDG_RUNTIME_DIR=%1").arg(m_folder.path()), q("LD_PRELOAD=libm.so.6:" ZENDRA_PRELOAD)});
    start(words.first(), words.mid(1));
    waitForStarted();
}

HookedProgram::~HookedProgram()
{
    kill();
    waitForFinished();
}

qint64 HookedProgram::serving()
{
    waitFor([this] { return !sockets().isEmpty() || state() != Running; });
    return sockets().value(0).toLongLong();
}

QStringList HookedProgram::sockets() const
{
    return QDir(file("zendra")).entryList(QDir::System);
}

QString HookedProgram::address()
{
    return q("unix:path=%1/%2").arg(file("zendra")).arg(serving());
}

bool HookedProgram::prints(const char* text)
{
    return waitFor([&] { return (m_output += readAllStandardOutput()).contains(text); });
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

QDBusMessage HookClient::call(const char* method, const QVariantList& arguments, const char* interface) const
{
    return m_connection.call(message(interface, method, arguments), QDBus::Block, 10'000);
}

std::string HookClient::error(const char* method, const QVariantList& arguments) const
{
    return text(call(method, arguments).errorName().section(QLatin1Char('.'), -1));
}

void HookClient::send(const char* method, const QVariantList& arguments) const
{
    m_connection.asyncCall(message("org.zendra.Hook1", method, arguments));
}

} // namespace Zendra::Tests
