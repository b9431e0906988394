#include "recordingobject.h"

#include <utility>

#include <protocol/logging.h>

#include "reply.h"

namespace Zendra::Agent
{

RecordingObject::RecordingObject(
    std::shared_ptr<DBus::Connection> client, QString path, std::unique_ptr<BinaryStream> stream)
    : m_client(std::move(client))
    , m_path(std::move(path))
    , m_stream(stream.release())
{
    connect(m_stream.get(), &BinaryStream::nextSegment, this, &RecordingObject::forward);
    connect(m_stream.get(), &BinaryStream::closed, this, &RecordingObject::close);
    m_stream->pause();
}

RecordingObject::~RecordingObject() = default;

QVariantList RecordingObject::call(const DBus::Message& message)
{
    const QLatin1String method = message.member();
    const auto is = [&](const char* name, const char* signature) {
        if (method != QLatin1String(name))
            return false;
        requireSignature(message, signature);
        return true;
    };
    if (!message.interface().isEmpty() && message.interface() != QLatin1String(Protocol::recordingInterface))
        throw unknownMethod(message);
    if (is("BytesReceived", "u")) {
        acknowledge(message.arguments().constFirst().toUInt());
    } else if (is("Configure", "a{sv}")) {
        const auto options = message.arguments().constFirst().toMap();
        const QString errorText = m_stream->configure(options);
        if (!errorText.isEmpty())
            throw invalidArguments(errorText);
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

void RecordingObject::acknowledge(unsigned int count)
{
    if (!std::exchange(m_isStarted, true)) {
        for (const QByteArray& segment : std::exchange(m_heldBack, {}))
            forward(segment);
        setPaused(m_isPaused);
    }
    m_stream->bytesReceived(count);
}

void RecordingObject::setPaused(bool paused)
{
    m_isPaused = paused;
    if (!m_isStarted)
        return;
    if (paused)
        m_stream->pause();
    else
        m_stream->resume();
}

void RecordingObject::forward(const QByteArray& segment)
{
    if (!m_isStarted) {
        m_heldBack.push_back(segment);
        return;
    }
    // The size of a message is limited, that of a segment is not.
    constexpr int longest = 16 << 20;
    for (int begin = 0; begin < segment.size(); begin += longest)
        send("Segment", {segment.mid(begin, longest)});
}

void RecordingObject::close(unsigned int code, const QString& text)
{
    qCDebug(agentLog, "Recording %s was closed: %u %s", qPrintable(m_path), code, qPrintable(text));
    send("Closed", {code, text});
    Q_EMIT ended();
}

void RecordingObject::send(const char* signal, const QVariantList& arguments) const
{
    m_client->send(DBus::Message::signal(
        m_path.toLatin1().constData(), Protocol::recordingInterface, signal, arguments));
}

} // namespace Zendra::Agent
