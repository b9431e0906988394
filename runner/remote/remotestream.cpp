#include "remotestream.h"

#include <utility>

#include <protocol/names.h>

namespace Zendra::Runner
{

RemoteStream::RemoteStream(Peer& peer, QString path)
    : m_peer(peer)
    , m_path(std::move(path))
{
    connect(&m_peer, &Peer::received, this, &RemoteStream::handleSignal);
    connect(&m_peer, &Peer::lost, this, &RemoteStream::handleDisconnect);
    // The application sends nothing before the first acknowledgement.
    send("BytesReceived", {0U});
}

RemoteStream::~RemoteStream()
{
    if (!m_isClosed)
        send("Stop");
}

QString RemoteStream::configure(const QMap<QString, QVariant>& options)
{
    return m_peer.callObject(m_path, Protocol::recordingInterface, "Configure", {options}, "").errorText;
}

void RemoteStream::pause()
{
    send("Pause");
}

void RemoteStream::resume()
{
    send("Resume");
}

void RemoteStream::stop()
{
    if (m_isClosed)
        return;
    const Reply reply = m_peer.callObject(m_path, Protocol::recordingInterface, "Stop", {}, "");
    // The segments that the application sent before its reply have been read by now.
    m_peer.process();
    if (reply.isGood())
        end(StoppedByReceiver, {});
    else
        end(LostConnection, reply.errorText);
}

void RemoteStream::sendNextSegment(QByteArray) { }

void RemoteStream::bytesReceived(unsigned int count)
{
    send("BytesReceived", {count});
}

/// A signal of any of the application's objects.
void RemoteStream::handleSignal(const DBus::Message& signal)
{
    if (m_isClosed || signal.path() != m_path)
        return;
    const auto is = [&signal](const char* name, const char* types) {
        return signal.member() == QLatin1String(name) && signal.signature() == QLatin1String(types);
    };
    if (is("Segment", "ay")) {
        Q_EMIT nextSegment(signal.arguments().value(0).toByteArray());
    } else if (is("Closed", "us")) {
        const QVariantList values = signal.arguments();
        end(values.value(0).toUInt(), values.value(1).toString());
    }
}

void RemoteStream::handleDisconnect()
{
    end(LostConnection, m_peer.disconnectReason());
}

void RemoteStream::end(unsigned int code, const QString& text)
{
    if (!std::exchange(m_isClosed, true))
        Q_EMIT closed(code, text);
}

void RemoteStream::send(const char* method, const QVariantList& arguments)
{
    if (!m_isClosed)
        m_peer.sendToObject(m_path, Protocol::recordingInterface, method, arguments);
}

} // namespace Zendra::Runner
