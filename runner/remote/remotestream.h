#pragma once

#include <zendra/binarystream.h>

#include "mapping.h"
#include "peer.h"

namespace Zendra::Runner
{

/// The receiver's end of a recording that another application makes. It begins when the event loop runs. Its
/// segments may be memory of the application's, and nobody's once they are acknowledged.
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
    void take(const DBus::Message& signal);
    void takePlaced(unsigned int position, unsigned int size);
    void handOn();
    void takeEnd(unsigned int code, const QString& text);
    void takeLoss();
    void send(const char* method, const QVariantList& arguments = {});

    Peer& m_peer;
    const QString m_path;
    std::unique_ptr<Mapping> m_memory; ///< null unless the application shares some
    const uchar* m_next = nullptr;     ///< of the application's bytes that are still to be handed on
    unsigned int m_left = 0;           ///< how many these are
    unsigned int m_unacknowledged = 0; ///< that the receiver did acknowledge
    bool m_isClosed = false;
};

} // namespace Zendra::Runner
