#pragma once

#include <zendra/binarystream.h>

#include "peer.h"

namespace Zendra::Runner
{

/// The receiver's end of a recording that another application makes. It starts when the event loop runs.
class RemoteStream : public BinaryStream
{
    Q_OBJECT

public:
    /// `path` is the recording's object in the application. `peer` must live longer.
    RemoteStream(Peer& peer, QString path);
    ~RemoteStream() override;

    QString configure(const QMap<QString, QVariant>& options) override;
    void pause() override;
    void resume() override;
    void stop() override;
    /// Does nothing: segments come from the application.
    void sendNextSegment(QByteArray segment) override;
    void bytesReceived(unsigned int count) override;

private:
    void handleSignal(const DBus::Message& signal);
    void handleDisconnect();
    void end(unsigned int code, const QString& text);
    void send(const char* method, const QVariantList& arguments = {});

    Peer& m_peer;
    const QString m_path;
    bool m_isClosed = false;
};

} // namespace Zendra::Runner
