#include "remotestream.h"

#include <algorithm>
#include <utility>

#include <sys/mman.h>

namespace Zendra::Runner
{

namespace
{

const char recordingInterface[] = "org.zendra.Recording1";

/// What is handed on at once: the processor still has near it what a receiver looks at twice.
constexpr unsigned int pieceSize = 64U << 10;

} // namespace

RemoteStream::RemoteStream(Peer& peer, QString path)
    : m_peer(peer)
    , m_path(std::move(path))
{
    connect(&m_peer, &Peer::signalled, this, &RemoteStream::take);
    connect(&m_peer, &Peer::lost, this, &RemoteStream::takeLoss);
    // Older hooks have no such method.
    const Answer memory
        = m_peer.callObject(m_path, static_cast<const char*>(recordingInterface), "ShareMemory", {}, "hu");
    if (memory.isGood()) {
        m_memory = Mapping::make(memory.values.at(0).value<DBus::FileDescriptor>().number(),
            memory.values.at(1).toUInt(), PROT_READ, MAP_SHARED);
    }
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
    const Answer answer
        = m_peer.callObject(m_path, static_cast<const char*>(recordingInterface), "Stop", {}, "");
    // What the application sent before its answer is here by now. As with a stream of this process, none
    // follows.
    m_peer.deliver();
    if (answer.isGood())
        takeEnd(StoppedByReceiver, {});
    else
        takeEnd(LostConnection, answer.errorText);
}

void RemoteStream::sendNextSegment(QByteArray) { }

void RemoteStream::bytesReceived(unsigned int count)
{
    m_unacknowledged += count;
    // Within what the application told of at once, one answer will do.
    if (m_left == 0)
        send("BytesReceived", {std::exchange(m_unacknowledged, 0)});
}

/// A signal of any of the application's objects.
void RemoteStream::take(const DBus::Message& signal)
{
    handOn();
    if (m_isClosed || signal.path() != m_path)
        return;
    const QVariantList& values = signal.arguments();
    const auto is = [&signal](const char* name, const char* types) {
        return signal.member() == QLatin1String(name) && signal.signature() == QLatin1String(types);
    };
    if (is("Segment", "ay"))
        Q_EMIT nextSegment(values.at(0).toByteArray());
    else if (is("Placed", "uu"))
        takePlaced(values.at(0).toUInt(), values.at(1).toUInt());
    else if (is("Closed", "us"))
        takeEnd(values.at(0).toUInt(), values.at(1).toString());
}

void RemoteStream::takePlaced(unsigned int position, unsigned int size)
{
    if (m_memory == nullptr || qint64(position) + size > m_memory->size()) {
        send("Stop");
        takeEnd(
            Failed, QStringLiteral("The application says that the recording is where it shares no memory"));
        return;
    }
    m_next = m_memory->bytes() + position;
    m_left = size;
    handOn();
}

/// Hands on what was placed, without a copy. A receiver that ends the stream meanwhile comes here again,
/// before what follows.
void RemoteStream::handOn()
{
    while (m_left > 0) {
        const unsigned int count = std::min(m_left, pieceSize);
        const auto* piece = reinterpret_cast<const char*>(std::exchange(m_next, m_next + count));
        m_left -= count;
        Q_EMIT nextSegment(QByteArray::fromRawData(piece, static_cast<int>(count)));
    }
}

void RemoteStream::takeEnd(unsigned int code, const QString& text)
{
    handOn();
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
