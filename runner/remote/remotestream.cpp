#include "remotestream.h"

#include <utility>

#include <QCoreApplication>
#include <QEvent>

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
    const QString interface = QLatin1String(recordingInterface);
    m_peer.connection().connect(
        QString(), m_path, interface, QStringLiteral("Segment"), this, SLOT(takeSegment(QByteArray)));
    m_peer.connection().connect(
        QString(), m_path, interface, QStringLiteral("Closed"), this, SLOT(takeEnd(uint, QString)));
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
    return m_peer.callObject(m_path, recordingInterface, "Configure", {options}, "").errorText;
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
    m_peer.callObject(m_path, recordingInterface, "Stop", {}, "");
    // What the application sent before its answer is here by now. As with a stream of this process, none
    // follows.
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    takeEnd(StoppedByReceiver, {});
}

void RemoteStream::sendNextSegment(QByteArray) { }

void RemoteStream::bytesReceived(unsigned int count)
{
    send("BytesReceived", {count});
}

void RemoteStream::takeSegment(const QByteArray& segment)
{
    if (!m_isClosed)
        Q_EMIT nextSegment(segment);
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
        m_peer.sendToObject(m_path, recordingInterface, method, arguments);
}

} // namespace Zendra::Runner
