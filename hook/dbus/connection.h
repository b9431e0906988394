#pragma once

#include <deque>
#include <map>
#include <memory>
#include <vector>

#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include "message.h"
#include "unixsocket.h"

namespace Zendra::DBus
{

class Authentication;

/// A connection between two processes. What is sent leaves at once, as far as the socket has room for it, and
/// the rest from the event loop; so does what comes, but for the answer to a call that is waited for.
class Connection : public QObject
{
    Q_OBJECT

public:
    /// Null when nobody can be reached at `address`, with the reason in `errorText`.
    static std::unique_ptr<Connection> open(const QString& address, QString& errorText);
    /// Takes a connected socket over.
    Connection(FileDescriptor socket, std::unique_ptr<Authentication> authentication);
    ~Connection() override;

    bool isOpen() const { return m_isOpen; }
    /// Ends the connection, for whoever still holds on to this; nothing is handed out any more.
    void close();
    /// Reads nothing from the event loop for as long as that is too much.
    void hold(bool isHeld);
    /// Whether messages can hold file descriptors.
    bool passesFileDescriptors() const;

    /// Sends a message; what comes of a call is not told.
    void send(Message message);
    /// Sends a call and goes on; returns its serial number for the functions below.
    unsigned int begin(Message call);
    /// Whether an answer has come, or none can come any more.
    bool isAnswered(unsigned int serial);
    /// Waits for the answer; a message of no type when none came within `patience` milliseconds or before the
    /// connection was lost. To be asked once.
    Message waitFor(unsigned int serial, int patience);
    /// Once this file is readable, a person wants to go on, and an answer is waited for two seconds more at
    /// the most.
    void setInterruption(int fileDescriptor) { m_interruption = fileDescriptor; }
    /// Whether that is why the last answer did not come.
    bool wasInterrupted() const { return m_wasInterrupted; }
    /// Sends a call and waits for its answer.
    Message call(const Message& call, int patience) { return waitFor(begin(call), patience); }

    /// Hands out what has been read, without waiting for the event loop.
    Q_INVOKABLE void deliver();

Q_SIGNALS:
    /// A call or signal has come.
    void received(const Zendra::DBus::Message& message);
    /// The other side is gone.
    void disconnected();

private:
    Q_DISABLE_COPY(Connection)

    void readNow();
    void readWaiting(int patience);
    int nextRead() const;
    void takeInput();
    void sort(Message message);
    void handOut(const Message& message);
    void deliverLater();
    unsigned int queue(Message& message);
    void queue(const QByteArray& bytes, const std::vector<FileDescriptor>& descriptors = {});
    void flush();
    void watch();
    void end();

    const FileDescriptor m_socket;
    const std::unique_ptr<Authentication> m_authentication;
    std::unique_ptr<QSocketNotifier> m_readNotifier;
    std::unique_ptr<QSocketNotifier> m_writeNotifier;
    QByteArray m_input;
    int m_expected = 0; ///< the size of the message that the input begins with; 0 while that is unknown
    std::vector<FileDescriptor> m_descriptors; ///< that came with the input
    std::deque<Outgoing> m_outgoing;
    qint64 m_outgoingSize = 0;                 ///< bytes
    std::deque<Message> m_received;            ///< and not yet handed out
    std::map<unsigned int, Message> m_answers; ///< that are awaited, by the calls' serial numbers
    unsigned int m_lastSerial = 0;
    int m_patience = 0; ///< of the socket
    int m_interruption = -1;
    bool m_wasInterrupted = false;
    bool m_isHeld = false;
    bool m_isOpen = true;
    bool m_waitsForRoom = false; ///< the event loop sends the rest
    bool m_isEndTold = false;
    bool m_deliversLater = false;
};

} // namespace Zendra::DBus
