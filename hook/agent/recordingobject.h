#pragma once

#include <memory>
#include <vector>

#include <QByteArray>
#include <QObject>

#include <protocol/dbusconnection.h>

#include <zendra/binarystream.h>

namespace Zendra::Agent
{

/// For objects that are deleted in a slot of one of their signals.
struct DeleteLater {
    void operator()(QObject* object) const
    {
        object->disconnect();
        object->deleteLater();
    }
};

/// The object org.zendra.Recording1 of one recording; its signals go to one client.
class RecordingObject : public QObject
{
    Q_OBJECT

public:
    /// Takes ownership of the stream and pauses it until the client's first acknowledgement.
    RecordingObject(
        std::shared_ptr<DBus::Connection> client, QString path, std::unique_ptr<BinaryStream> stream);
    ~RecordingObject() override;

    const QString& path() const { return m_path; }

    /// Carries out a method call. Throws a CallError.
    QVariantList call(const DBus::Message& message);

Q_SIGNALS:
    /// The stream is closed, and the client was sent the signal Closed.
    void ended();

private:
    Q_DISABLE_COPY(RecordingObject)

    void send(const char* signal, const QVariantList& arguments) const;
    void acknowledge(unsigned int count);
    void setPaused(bool paused);
    void forward(const QByteArray& segment);
    void close(unsigned int code, const QString& text);

    std::shared_ptr<DBus::Connection> m_client;
    QString m_path;
    std::unique_ptr<BinaryStream, DeleteLater> m_stream;
    std::vector<QByteArray> m_heldBack;
    bool m_isStarted = false;
    bool m_isPaused = false;
};

} // namespace Zendra::Agent
