#pragma once

#include <QByteArray>
#include <QMap>
#include <QObject>
#include <QString>
#include <QVariant>

#include <zendra/export.h>

namespace Zendra
{

/// The interface for the receiver of a stream.
class ZENDRA_EXPORT BinaryStreamControl
{
public:
    virtual ~BinaryStreamControl();
    /// Changes settings of the stream; returns an error text for a name or value that it does not take.
    virtual QString configure(const QMap<QString, QVariant>& options) = 0;
    virtual void pause() = 0;
    virtual void resume() = 0;
    /// Ends the stream; it is closed with code StoppedByReceiver.
    virtual void stop() = 0;
    /// Acknowledges `count` more bytes of the segments received.
    virtual void bytesReceived(unsigned int count) = 0;
};

/// A stream of segments from a producer to one receiver, and the receiver's handle on it.
///
/// The receiver owns the stream, and does not delete it inside of its signals (QObject::deleteLater() is for
/// that). Once closed() was emitted no more segments follow.
class ZENDRA_EXPORT BinaryStream : public QObject, public BinaryStreamControl
{
    Q_OBJECT

public:
    enum TerminationCode { Finished = 0, StoppedByReceiver = 1, LostConnection = 2, Failed = 3 };

    explicit BinaryStream(QObject* parent = nullptr);
    ~BinaryStream() override;

    QString configure(const QMap<QString, QVariant>& options) override = 0;
    void pause() override = 0;
    void resume() override = 0;
    void stop() override = 0;
    /// Sends a segment to the receiver; called by the producer.
    virtual void sendNextSegment(QByteArray segment) = 0;
    void bytesReceived(unsigned int count) override = 0;

Q_SIGNALS:
    /// The bytes may be a buffer that is reused after the call: make a deep copy to keep them.
    void nextSegment(const QByteArray& segment);
    void closed(unsigned int code, const QString& text);

private:
    Q_DISABLE_COPY(BinaryStream)
};

/// A stream with flow control: it counts the bytes sent and those that the receiver has acknowledged.
///
/// The counts are 32 bits wide and wrap round; their difference is the number of unacknowledged bytes.
class ZENDRA_EXPORT BinaryStreamProducer : public BinaryStream
{
    Q_OBJECT

public:
    explicit BinaryStreamProducer(QObject* parent = nullptr);
    ~BinaryStreamProducer() override;

    void sendNextSegment(QByteArray segment) override;
    void bytesReceived(unsigned int count) override;

    unsigned int bytesSent() const { return m_bytesSent; }
    unsigned int bytesAcknowledged() const { return m_bytesAcknowledged; }
    unsigned int bytesOnTheWay() const { return m_bytesSent - m_bytesAcknowledged; }

private:
    unsigned int m_bytesSent = 0;
    unsigned int m_bytesAcknowledged = 0;
};

} // namespace Zendra
