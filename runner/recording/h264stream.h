#pragma once

#include <functional>

#include <QByteArray>
#include <QSize>
#include <QString>

namespace Zendra::Runner
{

/// Parses the H.264 stream of a screen recording, in pieces of any size.
/// The stream is untrusted. For invalid data a Failure with the byte offset is thrown, after which the parser
/// must not be used.
class H264Stream
{
public:
    /// The events in a stream, in order: one begun, packets, of which the first is a key frame, and one
    /// finished.
    struct Receiver {
        std::function<void(const QSize& frameSize)> begun;
        std::function<void(const QByteArray& accessUnit, bool isKeyFrame)> packet;
    };

    explicit H264Stream(Receiver receiver);

    void parse(const QByteArray& bytes);

private:
    Q_DISABLE_COPY(H264Stream)

    enum class State { Empty, Begun, HasPicture, Finished };

    /// The bytes needed before the message can be parsed further.
    quint32 payloadSize() const;
    quint32 word(int offset) const;
    void takeHeader();
    void takeMessage();
    void takeStart();
    void takePacket();
    [[noreturn]] void refuse(const QString& what) const;

    Receiver m_receiver;
    State m_state = State::Empty;
    QByteArray m_message; ///< received so far
    qint64 m_offset = 0;  ///< of the message
};

} // namespace Zendra::Runner
