#pragma once

#include <memory>

#include <QObject>
#include <QVariantMap>

#include "caller.h"
#include "platform.h"
#include "queue.h"

namespace Zendra::Agent
{

/// One client and the objects that it sees: org.zendra.Hook1 and its recordings.
class Client : public QObject
{
    Q_OBJECT

public:
    Client(std::unique_ptr<DBus::Connection> connection, Platform& platform, Queue& queue);
    ~Client() override;

Q_SIGNALS:
    void disconnected();

private:
    Q_DISABLE_COPY(Client)

    void handle(const DBus::Message& message);
    void handleCall(const DBus::Message& call);
    RecordingObject* findRecording(QLatin1String path) const;
    QStringList objects() const;
    QVariantList introspect(const DBus::Message& call) const;
    QVariantMap properties() const;
    QVariantList getProperty(const DBus::Message& call) const;
    void callOperation(const DBus::Message& call);
    void reply(const DBus::Message& call, const DBus::Message& message);
    void handleDisconnect();

    std::shared_ptr<Caller> m_caller;
    Platform& m_platform;
    Queue& m_queue;
};

} // namespace Zendra::Agent
