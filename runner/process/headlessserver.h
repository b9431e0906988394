#pragma once

#include <memory>

#include <QByteArray>

#include "authorityfile.h"
#include "childprocess.h"
#include "cli/options.h"

namespace Zendra::Runner
{

/// A virtual X server, with a window manager if one is installed, that ends with the object.
///
/// Clients need the cookie in the file that XAUTHORITY names, which is set for child processes.
class HeadlessServer
{
public:
    /// Returns when clients can connect. Throws a Failure of status Unreachable.
    explicit HeadlessServer(const ScreenSize& size);

    const QByteArray& displayName() const { return m_displayName; }
    /// Waits until the window manager has handled what happened before, such as a new window.
    void awaitWindowManager() const;

private:
    Q_DISABLE_COPY(HeadlessServer)

    void startServer(const ScreenSize& size);
    QString startServer(const QByteArray& program, const QByteArray& screen);
    void startWindowManager();

    const AuthorityFile m_authority;
    QByteArray m_displayName;
    std::unique_ptr<ChildProcess> m_server;
    std::unique_ptr<ChildProcess> m_windowManager;
};

} // namespace Zendra::Runner
