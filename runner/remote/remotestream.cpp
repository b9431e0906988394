#include "remotestream.h"

#include <utility>

namespace Zendra::Runner
{

namespace
{

const char recordingInterface[] = "org.zendra.Recording1";

} // namespace

RemoteStream::RemoteStream(Peer& peer, QString path)
    : m_peer(peer)
    , m_path(std::move(path))
{
    connect(&m_peer, &Peer::signalled, this, &RemoteStream::take);
    connect(&m_peer, &Peer::lost, this, &RemoteStream::takeLoss);
    // The application waits for this before it sends anything.
    send("BytesReceived", {0U});
}

RemoteStream::~RemoteStream()
{
    if (!m_isClosed)
        send("Stop");
}

QString RemoteStream::configure(const QMap<QString, QVariant>& options)
{
    return m_peer.callObject(m_path, static_cast<const char*>(recordingInterface), "Configure", {options}, "")
        .errorText;
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
    m_peer.callObject(m_path, static_cast<const char*>(recordingInterface), "Stop", {}, "");
    // What the application sent before its answer is here by now. As with a stream of this process, none
    // follows.
    m_peer.deliver();
    takeEnd(StoppedByReceiver, {});
}

void RemoteStream::sendNextSegment(QByteArray) { }

void RemoteStream::bytesReceived(unsigned int count)
{
    send("BytesReceived", {count});
}

/// A signal of any of the application's objects.
void RemoteStream::take(const DBus::Message& signal)
{
    if (m_isClosed || signal.path() != m_path)
        return;
    const bool isSegment = signal.member() == QLatin1String("Segment");
    if (isSegment && signal.signature() == QLatin1String("ay"))
        Q_EMIT nextSegment(signal.arguments().constFirst().toByteArray());
    else if (!isSegment && signal.signature() == QLatin1String("us"))
        takeEnd(signal.arguments().at(0).toUInt(), signal.arguments().at(1).toString());
}

void RemoteStream::takeEnd(unsigned int code, const QString& text)
{
    if (!std::exchange(m_isClosed, true))
        Q_EMIT closed(code, text);
}

void RemoteStream::takeLoss()
{
    takeEnd(LostConnection, m_peer.lossText());
}

void RemoteStream::send(const char* method, const QVariantList& arguments)
{
    if (!m_isClosed)
        m_peer.sendToObject(m_path, static_cast<const char*>(recordingInterface), method, arguments);
}

} // namespace Zendra::Runner
