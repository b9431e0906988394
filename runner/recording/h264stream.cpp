#include "h264stream.h"

#include <algorithm>
#include <utility>

#include <QtEndian>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

constexpr int headerSize = 12;
constexpr quint32 startPayloadSize = 20;
/// Much more than an encoded picture.
constexpr quint32 largestPayload = 64U << 20;
/// The longest side in the levels of H.264.
constexpr quint32 longestSide = 16384;

constexpr quint32 startMessage = 0;
constexpr quint32 packetMessage = 1;
constexpr quint32 finishMessage = 2;
constexpr quint32 keyFrameArgument = 2;

} // namespace

H264Stream::H264Stream(Receiver receiver)
    : m_receiver(std::move(receiver))
{
}

void H264Stream::parse(const QByteArray& bytes)
{
    for (int next = 0; next < bytes.size();) {
        const bool hasHeader = m_message.size() >= headerSize;
        const qint64 wanted = headerSize + (hasHeader ? qint64(payloadSize()) : 0);
        const int taken = static_cast<int>(std::min<qint64>(wanted - m_message.size(), bytes.size() - next));
        m_message.append(bytes.constData() + next, taken);
        next += taken;
        if (m_message.size() < wanted)
            return;
        if (!hasHeader)
            takeHeader();
        if (m_message.size() == headerSize + qint64(payloadSize()))
            takeMessage();
    }
}

quint32 H264Stream::payloadSize() const
{
    return word(8);
}

quint32 H264Stream::word(int offset) const
{
    return qFromBigEndian<quint32>(m_message.constData() + offset);
}

/// Checks a message before its payload is complete.
void H264Stream::takeHeader()
{
    const quint32 type = word(0);
    if (type > finishMessage)
        refuse(QStringLiteral("there is no message of type %1").arg(type));
    if (m_state == State::Finished)
        refuse(QStringLiteral("it goes on behind its end"));
    if ((type == startMessage) != (m_state == State::Empty))
        refuse(QStringLiteral("it does not have its one start message first"));
    if (payloadSize() > largestPayload || (type == startMessage && payloadSize() != startPayloadSize))
        refuse(QStringLiteral("no message of type %1 has %2 bytes").arg(type).arg(payloadSize()));
}

void H264Stream::takeMessage()
{
    switch (word(0)) {
    case startMessage:
        takeStart();
        break;
    case packetMessage:
        takePacket();
        break;
    default:
        // The reason is also in the closed() signal.
        m_state = State::Finished;
    }
    m_offset += m_message.size();
    m_message.clear();
}

void H264Stream::takeStart()
{
    const quint32 width = word(headerSize + 12);
    const quint32 height = word(headerSize + 16);
    if (std::min(width, height) == 0 || std::max(width, height) > longestSide)
        refuse(QStringLiteral("no picture has %1x%2 pixels").arg(width).arg(height));
    m_state = State::Begun;
    m_receiver.begun(QSize(static_cast<int>(width), static_cast<int>(height)));
}

void H264Stream::takePacket()
{
    const quint32 argument = word(4);
    if (argument != 0 && argument != keyFrameArgument)
        refuse(QStringLiteral("a packet has the flags %1").arg(argument));
    if (payloadSize() == 0)
        refuse(QStringLiteral("a packet is empty"));
    if (m_state == State::Begun && argument != keyFrameArgument)
        refuse(QStringLiteral("its first picture cannot be shown without one before it"));
    m_state = State::HasPicture;
    m_receiver.packet(m_message.mid(headerSize), argument == keyFrameArgument);
}

void H264Stream::refuse(const QString& what) const
{
    throw operationFailure(QStringLiteral("The recording is damaged at byte %1: %2").arg(m_offset).arg(what));
}

} // namespace Zendra::Runner
