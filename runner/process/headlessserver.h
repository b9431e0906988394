#pragma once

#include <memory>

#include <QByteArray>

#include "authorityfile.h"
#include "childprocess.h"
#include "cli/options.h"

namespace Zendra::Runner
{

/// An X server without a screen, with a window manager where one is installed, for the time of the object.
///
/// Only programs with XAUTHORITY in their environment, where it is put for child processes, can connect.
class HeadlessServer
{
public:
    /// Returns when programs can connect. Throws a Failure of status Unreachable.
    explicit HeadlessServer(const ScreenSize& size);

    const QByteArray& displayName() const { return m_displayName; }

private:
    Q_DISABLE_COPY(HeadlessServer)

    void startServer(const ScreenSize& size);
    void startWindowManager();

    const AuthorityFile m_authority;
    QByteArray m_displayName;
    std::unique_ptr<ChildProcess> m_server;
    std::unique_ptr<ChildProcess> m_windowManager;
};

} // namespace Zendra::Runner
