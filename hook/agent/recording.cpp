#include "recording.h"

#include <utility>

#include "answer.h"
#include "failure.h"

namespace Zendra::Agent
{

namespace
{

const char interfaceName[] = "org.zendra.Recording1";

} // namespace

Recording::Recording(
    std::shared_ptr<DBus::Connection> client, QString path, std::unique_ptr<BinaryStream> stream)
    : m_client(std::move(client))
    , m_path(std::move(path))
    , m_stream(stream.release())
{
    connect(m_stream.get(), &BinaryStream::nextSegment, this, &Recording::forward);
    connect(m_stream.get(), &BinaryStream::closed, this, &Recording::close);
    m_stream->pause();
}

Recording::~Recording() = default;

QVariantList Recording::call(const DBus::Message& message)
{
    const QLatin1String method = message.member();
    const auto is = [&](const char* name, const char* signature) {
        if (method != QLatin1String(name))
            return false;
        expectSignature(message, QLatin1String(signature));
        return true;
    };
    if (!message.interface().isEmpty() && message.interface() != QLatin1String(interfaceName))
        throw unknownMethod(message);
    if (is("BytesReceived", "u")) {
        acknowledge(message.arguments().constFirst().toUInt());
    } else if (is("Configure", "a{sv}")) {
        const auto options = message.arguments().constFirst().toMap();
        const QString errorText = m_stream->configure(options);
        if (!errorText.isEmpty())
            throw Failure(invalidArguments(), errorText);
    } else if (is("ShareMemory", "")) {
        return shareMemory();
    } else if (is("Pause", "")) {
        setPaused(true);
    } else if (is("Resume", "")) {
        setPaused(false);
    } else if (is("Stop", "")) {
        m_stream->stop();
    } else {
        throw unknownMethod(message);
    }
    return {};
}

QVariantList Recording::shareMemory()
{
    // Later, something may be on its way of which the ring does not know.
    if (m_isStarted || !m_client->passesFileDescriptors())
        throw Failure(operationFailed(),
            m_isStarted ? QStringLiteral("The recording has begun")
                        : QStringLiteral("The connection does not pass file descriptors"));
    if (m_ring == nullptr)
        m_ring = std::make_unique<SegmentRing>();
    return {QVariant::fromValue(m_ring->file()), SegmentRing::size};
}

void Recording::acknowledge(unsigned int count)
{
    if (!std::exchange(m_isStarted, true)) {
        for (const QByteArray& segment : std::exchange(m_heldBack, {}))
            forward(segment);
        setPaused(m_isPaused);
    }
    if (m_ring != nullptr)
        m_ring->acknowledge(count);
    m_stream->bytesReceived(count);
}

void Recording::setPaused(bool paused)
{
    m_isPaused = paused;
    if (!m_isStarted)
        return;
    if (paused)
        m_stream->pause();
    else
        m_stream->resume();
}

void Recording::forward(const QByteArray& segment)
{
    if (!m_isStarted) {
        m_heldBack.push_back(segment);
        return;
    }
    const auto position = m_ring != nullptr ? m_ring->place(segment) : std::nullopt;
    if (!position) {
        tellPlaced();
        send("Segment", {segment});
        return;
    }
    if (*position != m_placedAt + m_placedSize)
        tellPlaced();
    if (m_placedSize == 0) {
        m_placedAt = *position;
        QMetaObject::invokeMethod(this, "tellPlaced", Qt::QueuedConnection);
    }
    m_placedSize += static_cast<unsigned int>(segment.size());
}

/// Once for all the segments of an update: a client that wakes up for each of them takes longer, and so does
/// this process beside it.
void Recording::tellPlaced()
{
    if (m_placedSize > 0)
        send("Placed", {m_placedAt, std::exchange(m_placedSize, 0)});
}

void Recording::close(unsigned int code, const QString& text)
{
    tellPlaced();
    send("Closed", {code, text});
    Q_EMIT ended();
}

void Recording::send(const char* signal, const QVariantList& arguments) const
{
    m_client->send(DBus::Message::signal(
        m_path.toLatin1().constData(), static_cast<const char*>(interfaceName), signal, arguments));
}

} // namespace Zendra::Agent
