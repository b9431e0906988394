#include "recording.h"

#include <utility>

#include <QDBusArgument>
#include <QDBusMessage>

#include "answer.h"
#include "failure.h"
#include "introspection.h"

namespace Zendra::Agent
{

namespace
{

QString interfaceName()
{
    return QStringLiteral("org.zendra.Recording1");
}

} // namespace

Recording::Recording(QDBusConnection client, QString path, std::unique_ptr<BinaryStream> stream)
    : m_client(std::move(client))
    , m_path(std::move(path))
    , m_stream(stream.release())
{
    connect(m_stream.get(), &BinaryStream::nextSegment, this, &Recording::forward);
    connect(m_stream.get(), &BinaryStream::closed, this, &Recording::close);
    m_stream->pause();
    m_client.registerVirtualObject(m_path, this);
}

Recording::~Recording() = default;

QString Recording::introspect(const QString& /*path*/) const
{
    return QString::fromUtf8(recordingIntrospection);
}

bool Recording::handleMessage(const QDBusMessage& message, const QDBusConnection& connection)
{
    if (!message.interface().isEmpty() && message.interface() != interfaceName())
        return false;
    answerWith(message, connection, [this, &message] { return call(message); });
    return true;
}

QVariantList Recording::call(const QDBusMessage& message)
{
    const QString method = message.member();
    const auto is = [&](const char* name, const char* signature) {
        if (method != QLatin1String(name))
            return false;
        expectSignature(message, QLatin1String(signature));
        return true;
    };
    if (is("BytesReceived", "u")) {
        acknowledge(message.arguments().constFirst().toUInt());
    } else if (is("Configure", "a{sv}")) {
        const auto options = qdbus_cast<QVariantMap>(message.arguments().constFirst());
        const QString errorText = m_stream->configure(options);
        if (!errorText.isEmpty())
            throw Failure(invalidArguments(), errorText);
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

void Recording::acknowledge(unsigned int count)
{
    if (!std::exchange(m_isStarted, true)) {
        for (const QByteArray& segment : std::exchange(m_heldBack, {}))
            forward(segment);
        setPaused(m_isPaused);
    }
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
    QDBusMessage signal = QDBusMessage::createSignal(m_path, interfaceName(), QStringLiteral("Segment"));
    signal << segment;
    m_client.send(signal);
}

void Recording::close(unsigned int code, const QString& text)
{
    m_client.unregisterObject(m_path);
    QDBusMessage signal = QDBusMessage::createSignal(m_path, interfaceName(), QStringLiteral("Closed"));
    signal << code << text;
    m_client.send(signal);
    Q_EMIT ended();
}

} // namespace Zendra::Agent
