#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QByteArray>
#include <QObject>

#include <dbus/connection.h>

#include <zendra/binarystream.h>

#include "segmentring.h"

namespace Zendra::Agent
{

/// For objects that end within a signal of theirs.
struct DeleteLater {
    void operator()(QObject* object) const
    {
        object->disconnect();
        object->deleteLater();
    }
};

/// The object org.zendra.Recording1 of one recording; its signals go to one client.
class Recording : public QObject
{
    Q_OBJECT

public:
    /// Takes the stream over and holds it back until the client's first acknowledgement.
    Recording(std::shared_ptr<DBus::Connection> client, QString path, std::unique_ptr<BinaryStream> stream);
    ~Recording() override;

    const QString& path() const { return m_path; }

    /// Carries a call of a method out; throws a Failure.
    QVariantList call(const DBus::Message& message);

Q_SIGNALS:
    /// The stream is closed and its client was told.
    void ended();

private:
    Q_DISABLE_COPY(Recording)

    void send(const char* signal, const QVariantList& arguments) const;
    QVariantList shareMemory();
    void acknowledge(unsigned int count);
    void setPaused(bool paused);
    void forward(const QByteArray& segment);
    Q_INVOKABLE void tellPlaced();
    void close(unsigned int code, const QString& text);

    std::shared_ptr<DBus::Connection> m_client;
    QString m_path;
    std::unique_ptr<BinaryStream, DeleteLater> m_stream;
    std::vector<QByteArray> m_heldBack;
    std::unique_ptr<SegmentRing> m_ring; ///< null unless the client has asked for it
    unsigned int m_placedAt = 0;         ///< where the client has to be told that segments lie
    unsigned int m_placedSize = 0;       ///< of these, in bytes
    bool m_isStarted = false;
    bool m_isPaused = false;
};

} // namespace Zendra::Agent
