#pragma once

#include <string>
#include <vector>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QTemporaryDir>

#include "xserver.h"

namespace Zendra::Tests
{

/// A program with the hook inside, which serves in a folder of the test's own; killed at the end of the
/// scope.
class HookedProgram
{
public:
    explicit HookedProgram(
        const XServer& server, const QStringList& words, const QStringList& environment = {});
    ~HookedProgram();
    HookedProgram(const HookedProgram&) = delete;
    HookedProgram& operator=(const HookedProgram&) = delete;

    /// Waits until the hook serves, and returns its process; 0 when the wait was in vain.
    qint64 serving();
    QProcess& process() { return m_process; }
    std::string output();
    std::string errors();
    QString file(const QString& name) const { return m_folder.filePath(name); }
    QString address();
    QStringList sockets() const;

private:
    QTemporaryDir m_folder;
    QProcess m_process;
    QByteArray m_output;
    qint64 m_serving = 0;
};

/// A client of the hook, for as long as the object lives.
class HookClient
{
public:
    explicit HookClient(const QString& address);
    ~HookClient();
    HookClient(const HookClient&) = delete;
    HookClient& operator=(const HookClient&) = delete;

    bool isConnected() const { return m_connection.isConnected(); }
    QDBusMessage call(const QString& method, const QVariantList& arguments = {}) const;
    QDBusMessage call(const char* interface, const QString& method, const QVariantList& arguments) const;
    /// The name of the error that a call comes to, without what comes before the last dot; else empty.
    std::string error(const QString& method, const QVariantList& arguments = {}) const;
    /// Sends a call without waiting for its answer.
    void send(const QString& method, const QVariantList& arguments = {}) const;

private:
    QString m_name;
    QDBusConnection m_connection;
};

} // namespace Zendra::Tests
