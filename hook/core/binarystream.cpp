#include <zendra/binarystream.h>

#include <algorithm>

namespace Zendra
{

BinaryStreamControl::~BinaryStreamControl() = default;

BinaryStream::BinaryStream(QObject* parent)
    : QObject(parent)
{
}

BinaryStream::~BinaryStream() = default;

BinaryStreamProducer::BinaryStreamProducer(QObject* parent)
    : BinaryStream(parent)
{
}

BinaryStreamProducer::~BinaryStreamProducer() = default;

void BinaryStreamProducer::sendNextSegment(QByteArray segment)
{
    m_bytesSent += static_cast<unsigned int>(segment.size());
    Q_EMIT nextSegment(segment);
}

void BinaryStreamProducer::bytesReceived(unsigned int count)
{
    // Acknowledging more than was sent would wrap around.
    m_bytesAcknowledged += std::min(count, bytesOnTheWay());
}

} // namespace Zendra
