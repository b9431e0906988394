#pragma once

#include <string>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QTemporaryDir>

#include "xserver.h"

namespace Zendra::Tests
{

inline QString q(const char* text)
{
    return QString::fromUtf8(text);
}

/// A program with the hook inside, which serves in a folder of its own; killed at the end of the scope.
class HookedProgram : public QProcess
{
public:
    HookedProgram(const XServer& server, const QStringList& words);
    ~HookedProgram() override;

    /// Waits until the hook serves, and returns its process; 0 when the wait was in vain.
    qint64 serving();
    QString address();
    QString file(const char* name) const { return m_folder.filePath(q(name)); }
    QStringList sockets() const;
    /// Whether standard output comes to have `text` in it.
    bool prints(const char* text);

private:
    QTemporaryDir m_folder;
    QByteArray m_output;
};

/// A client of the hook, for as long as the object lives.
class HookClient
{
public:
    explicit HookClient(const QString& address);
    ~HookClient();
    HookClient(const HookClient&) = delete;
    HookClient& operator=(const HookClient&) = delete;

    QDBusMessage call(const char* method, const QVariantList& arguments = {},
        const char* interface = "org.zendra.Hook1") const;
    /// The name of the error that a call comes to, behind its last dot; empty for none.
    std::string error(const char* method, const QVariantList& arguments = {}) const;
    /// Does not wait for an answer.
    void send(const char* method, const QVariantList& arguments = {}) const;

private:
    QString m_name;
    QDBusConnection m_connection;
};

} // namespace Zendra::Tests
