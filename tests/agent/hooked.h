#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QUuid>

#include "wait.h"
#include "xserver.h"

namespace Zendra::Tests
{

inline QString q(const char* text)
{
    return QString::fromUtf8(text);
}

/// A client of the hook, for as long as the object lives.
class HookClient
{
public:
    explicit HookClient(const QString& address)
        : m_connection(QDBusConnection::connectToPeer(address, QUuid::createUuid().toString()))
    {
    }
    ~HookClient() { QDBusConnection::disconnectFromPeer(m_connection.name()); }
    HookClient(const HookClient&) = delete;
    HookClient& operator=(const HookClient&) = delete;

    QDBusMessage call(const char* method, const QVariantList& arguments = {},
        const char* interface = "org.zendra.Hook1", QDBus::CallMode mode = QDBus::Block) const
    {
        auto message = QDBusMessage::createMethodCall({}, q("/org/zendra/Hook1"), q(interface), q(method));
        message.setArguments(arguments);
        return m_connection.call(message, mode, 30'000);
    }
    /// Does not wait for an answer.
    void send(const char* method, const QVariantList& arguments) const
    {
        call(method, arguments, "org.zendra.Hook1", QDBus::NoBlock);
    }
    /// The name of the error that a call comes to, behind its last dot; empty for none.
    std::string error(const char* method, const QVariantList& arguments = {}) const
    {
        return text(call(method, arguments).errorName().section(QLatin1Char('.'), -1));
    }

private:
    QDBusConnection m_connection;
};

/// A shell command with the hook inside, and its sockets, in a folder of its own that is $XDG_RUNTIME_DIR.
class HookedProgram : public QProcess
{
public:
    HookedProgram(const XServer& server, const char* command)
    {
        setEnvironment(systemEnvironment()
            << q("DISPLAY=%1").arg(q(server.displayName().c_str())) << q("XDG_RUNTIME_DIR=") + file("")
            << q("LD_PRELOAD=libm.so.6:" ZENDRA_PRELOAD));
        start(q("sh"), {q("-c"), q(command)});
        waitForStarted();
    }
    ~HookedProgram() override
    {
        kill();
        waitForFinished();
    }
    QString file(const char* name) const { return m_folder.filePath(q(name)); }
    QStringList sockets() const { return QDir(file("zendra")).entryList(QDir::System); }
    bool ends()
    {
        return waitFor([&] { return state() == NotRunning; });
    }
    bool prints(const char* text)
    {
        return waitFor([&] { return (m_output += readAllStandardOutput()).contains(text); });
    }

private:
    QTemporaryDir m_folder;
    QByteArray m_output;
};

} // namespace Zendra::Tests
