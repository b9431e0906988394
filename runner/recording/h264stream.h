#pragma once

#include <functional>

#include <QByteArray>
#include <QSize>
#include <QString>

namespace Zendra::Runner
{

/// Takes the H.264 stream of a screen recording apart, in pieces of any size.
///
/// The stream need not be trusted. What it cannot mean is refused with a Failure that names the byte; after
/// that the parser is of no further use.
class H264Stream
{
public:
    /// What the stream says, in order: begun once, packets, the first of which is a key frame, finished once.
    struct Receiver {
        std::function<void(const QSize& frameSize)> begun;
        std::function<void(const QByteArray& accessUnit, bool isKeyFrame)> packet;
    };

    explicit H264Stream(Receiver receiver);

    void parse(const QByteArray& bytes);

private:
    Q_DISABLE_COPY(H264Stream)

    enum class State { Empty, Begun, HasPicture, Finished };

    /// How many bytes there must be before the message goes on.
    quint32 payloadSize() const;
    quint32 word(int offset) const;
    void takeHeader();
    void takeMessage();
    void takeStart();
    void takePacket();
    [[noreturn]] void refuse(const QString& what) const;

    Receiver m_receiver;
    State m_state = State::Empty;
    QByteArray m_message; ///< as far as it came
    qint64 m_offset = 0;  ///< of the message
};

} // namespace Zendra::Runner
