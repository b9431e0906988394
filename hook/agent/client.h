#pragma once

#include <memory>

#include <QDBusVirtualObject>

#include "caller.h"
#include "platform.h"
#include "queue.h"

namespace Zendra::Agent
{

/// The object org.zendra.Hook1 as one client sees it.
class Client : public QDBusVirtualObject
{
    Q_OBJECT

public:
    /// Serves the connection from now on.
    Client(const QDBusConnection& connection, Platform& platform, Queue& queue);
    ~Client() override;

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

Q_SIGNALS:
    /// The connection is gone, and what belonged to it, too.
    void left();

private Q_SLOTS:
    void leave();

private:
    Q_DISABLE_COPY(Client)

    QVariantMap properties() const;
    QVariantList getProperty(const QDBusMessage& message) const;
    void callOperation(const QDBusMessage& message);

    std::shared_ptr<Caller> m_caller;
    Platform& m_platform;
    Queue& m_queue;
};

} // namespace Zendra::Agent
