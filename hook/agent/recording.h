#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusVirtualObject>

#include <zendra/binarystream.h>

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
class Recording : public QDBusVirtualObject
{
    Q_OBJECT

public:
    /// Takes the stream over and holds it back until the client's first acknowledgement.
    Recording(QDBusConnection client, QString path, std::unique_ptr<BinaryStream> stream);
    ~Recording() override;

    const QString& path() const { return m_path; }

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

Q_SIGNALS:
    /// The stream is closed and its client was told.
    void ended();

private:
    Q_DISABLE_COPY(Recording)

    struct Method;

    QVariantList call(const QDBusMessage& message);
    void acknowledge(unsigned int count);
    void setPaused(bool paused);
    void forward(const QByteArray& segment);
    void close(unsigned int code, const QString& text);

    QDBusConnection m_client;
    QString m_path;
    std::unique_ptr<BinaryStream, DeleteLater> m_stream;
    std::vector<QByteArray> m_heldBack;
    bool m_isStarted = false;
    bool m_isPaused = false;
};

} // namespace Zendra::Agent
