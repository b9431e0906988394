#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QFile>
#include <QPointer>

#include "authentication.h"
#include "wire.h"

namespace Zendra::DBus
{

namespace
{

/// Bytes on their way out above which nothing more is read: who asks must take the answers.
constexpr qint64 mostOutgoing = 8 << 20;
constexpr std::size_t mostDescriptors = 64;
constexpr int usualRead = 64 << 10;    ///< bytes
constexpr int longestRead = 1 << 20;   ///< bytes
constexpr int usualBuffer = 128 << 10; ///< bytes
constexpr int longMessage = 16 << 10;  ///< bytes

// All in milliseconds.
constexpr int longestWait = 1000; ///< before an interruption is looked for
constexpr int patienceWhenInterrupted = 2000;

const QLatin1String peerInterface("org.freedesktop.DBus.Peer");

/// Keeps its memory when it is emptied.
QByteArray emptyBuffer()
{
    QByteArray buffer;
    buffer.reserve(usualBuffer);
    return buffer;
}

bool isReadable(int fileDescriptor)
{
    pollfd readable {fileDescriptor, POLLIN, 0};
    return fileDescriptor >= 0 && poll(&readable, 1, 0) > 0;
}

QString machineId()
{
    for (const char* name : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
        QFile file(QString::fromLatin1(name));
        if (file.open(QIODevice::ReadOnly))
            return QString::fromLatin1(file.readLine().trimmed());
    }
    return {};
}

/// What every peer answers.
Message answerAsPeer(const Message& call)
{
    if (call.member() == QLatin1String("Ping"))
        return call.reply();
    if (call.member() == QLatin1String("GetMachineId"))
        return call.reply({machineId()});
    return call.error(QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"),
        QStringLiteral("There is no method '%1'").arg(call.member()));
}

} // namespace

std::unique_ptr<Connection> Connection::open(const QString& address, QString& errorText)
{
    FileDescriptor socket = connectTo(address, errorText);
    if (!socket.isValid())
        return nullptr;
    auto connection
        = std::make_unique<Connection>(std::move(socket), std::make_unique<ClientAuthentication>());
    connection->queue(ClientAuthentication::greeting());
    return connection;
}

Connection::Connection(FileDescriptor socket, std::unique_ptr<Authentication> authentication)
    : m_socket(std::move(socket))
    , m_authentication(std::move(authentication))
    , m_input(emptyBuffer())
{
    watch();
}

Connection::~Connection() = default;

bool Connection::passesFileDescriptors() const
{
    return m_authentication->passesFileDescriptors();
}

void Connection::send(Message message)
{
    if (message.type() == Message::Type::Call)
        message.forgoReply();
    queue(message);
}

unsigned int Connection::begin(Message call)
{
    const unsigned int serial = queue(call);
    m_answers.emplace(serial, Message());
    return serial;
}

unsigned int Connection::queue(Message& message)
{
    if (++m_lastSerial == 0)
        ++m_lastSerial;
    if (!m_isOpen)
        return m_lastSerial;
    queue(message.makeHeader(m_lastSerial), message.descriptors());
    for (const QByteArray& part : {message.body(), message.tail()}) {
        if (!part.isEmpty())
            queue(part);
    }
    if (m_waitsForRoom)
        watch();
    else
        flush();
    return m_lastSerial;
}

void Connection::queue(const QByteArray& bytes, const std::vector<FileDescriptor>& descriptors)
{
    m_outgoing.push_back({bytes, descriptors});
    m_outgoingSize += bytes.size();
}

/// Sends what the socket has room for.
void Connection::flush()
{
    Transfer result = Transfer::Done;
    qint64 sent = 0;
    while (!m_outgoing.empty() && result == Transfer::Done)
        result = sendFrom(m_outgoing, m_socket.number(), sent);
    m_outgoingSize -= sent;
    // What the other side said before it went is still there to be read.
    if (result == Transfer::Ended) {
        m_outgoing.clear();
        m_outgoingSize = 0;
    }
    watch();
}

/// Tells the event loop what to wait for, once there is one.
void Connection::watch()
{
    if (m_readNotifier == nullptr && QAbstractEventDispatcher::instance() != nullptr) {
        m_readNotifier = std::make_unique<QSocketNotifier>(m_socket.number(), QSocketNotifier::Read);
        connect(m_readNotifier.get(), &QSocketNotifier::activated, this, [this] {
            readNow();
            deliver();
        });
        m_writeNotifier = std::make_unique<QSocketNotifier>(m_socket.number(), QSocketNotifier::Write);
        connect(m_writeNotifier.get(), &QSocketNotifier::activated, this, &Connection::flush);
        m_writeNotifier->setEnabled(false);
    }
    if (m_readNotifier == nullptr)
        return;
    const bool reads = m_isOpen && !m_isHeld && m_outgoingSize < mostOutgoing;
    m_waitsForRoom = m_isOpen && !m_outgoing.empty();
    // Each change is work for the event loop.
    if (m_writeNotifier->isEnabled() != m_waitsForRoom)
        m_writeNotifier->setEnabled(m_waitsForRoom);
    if (m_readNotifier->isEnabled() != reads)
        m_readNotifier->setEnabled(reads);
}

bool Connection::isAnswered(unsigned int serial)
{
    readNow();
    if (!m_received.empty())
        deliverLater();
    const auto answer = m_answers.find(serial);
    return answer == m_answers.end() || answer->second.type() != Message::Type::None || !m_isOpen;
}

Message Connection::waitFor(unsigned int serial, int patience)
{
    const auto answer = m_answers.find(serial);
    if (answer == m_answers.end())
        return {};
    QElapsedTimer clock;
    clock.start();
    patience = std::max(patience, 1);
    m_wasInterrupted = false;
    while (answer->second.type() == Message::Type::None && m_isOpen && !clock.hasExpired(patience)) {
        readWaiting(std::min(patience, longestWait));
        if (!m_wasInterrupted && isReadable(m_interruption)) {
            m_wasInterrupted = true;
            patience = std::min<qint64>(patience, clock.elapsed() + patienceWhenInterrupted);
        }
    }
    Message result = std::move(answer->second);
    m_answers.erase(answer);
    if (!m_received.empty() || !m_isOpen)
        deliverLater();
    return result;
}

void Connection::readNow()
{
    if (!m_isOpen)
        return;
    const Transfer result = receive(m_socket.number(), MSG_DONTWAIT, nextRead(), m_input, m_descriptors);
    if (result == Transfer::Done)
        takeInput();
    else if (result == Transfer::Ended)
        end();
}

/// Waits `patience` milliseconds for something to read, and may return before without it.
void Connection::readWaiting(int patience)
{
    if (!m_outgoing.empty()) {
        pollfd socket {m_socket.number(), POLLIN | POLLOUT, 0};
        poll(&socket, 1, patience);
        flush();
        readNow();
        return;
    }
    // The system itself waits: one call less than with a poll for each answer.
    if (std::exchange(m_patience, patience) != patience) {
        constexpr long second = 1000;
        const timeval limit {patience / second, patience % second * 1000};
        setsockopt(m_socket.number(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }
    const Transfer result = receive(m_socket.number(), 0, nextRead(), m_input, m_descriptors);
    if (result == Transfer::Done)
        takeInput();
    else if (result == Transfer::Ended)
        end();
}

/// How much to read at once. A long message is read to its end and no further, so that it is all that is in
/// the buffer, and becomes a message without being copied.
int Connection::nextRead() const
{
    const int missing = m_expected - m_input.size();
    return m_expected < longMessage ? usualRead : std::min(missing, longestRead);
}

/// Takes the messages apart that are whole.
void Connection::takeInput()
{
    try {
        if (m_descriptors.size() > mostDescriptors)
            throw Malformed("there are too many file descriptors");
        if (!m_authentication->isDone()) {
            const QByteArray answer = m_authentication->take(m_input);
            if (!answer.isEmpty()) {
                queue(answer);
                flush();
            }
            if (!m_authentication->isDone())
                return;
        }
        int begin = 0;
        for (m_expected = Message::size(m_input, 0); m_expected != 0 && m_expected <= m_input.size() - begin;
             m_expected = Message::size(m_input, begin)) {
            const bool isAll = m_expected >= longMessage && m_expected == m_input.size();
            sort(
                Message::parse(isAll ? std::exchange(m_input, emptyBuffer()) : m_input.mid(begin, m_expected),
                    m_descriptors));
            begin += isAll ? 0 : m_expected;
        }
        m_input.remove(0, begin);
    } catch (const Malformed&) {
        end();
    }
}

/// Puts a message where it is waited for. Answers that nobody waits for any more are dropped.
void Connection::sort(Message message)
{
    const Message::Type type = message.type();
    if (type == Message::Type::Call || type == Message::Type::Signal) {
        m_received.push_back(std::move(message));
        return;
    }
    const auto answer = m_answers.find(message.replySerial());
    if (answer != m_answers.end())
        answer->second = std::move(message);
}

void Connection::end()
{
    m_isOpen = false;
    m_outgoing.clear();
    m_outgoingSize = 0;
    m_input.clear();
    m_expected = 0;
    m_descriptors.clear();
    watch();
    // The other side notices, whoever still holds on to this.
    shutdown(m_socket.number(), SHUT_RDWR);
    deliverLater();
}

void Connection::close()
{
    m_isEndTold = true;
    m_received.clear();
    if (m_isOpen)
        end();
}

void Connection::hold(bool isHeld)
{
    m_isHeld = isHeld;
    watch();
}

void Connection::deliverLater()
{
    if (!std::exchange(m_deliversLater, true))
        QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
}

/// Receivers may run event loops, which come here again, and may delete this.
void Connection::deliver()
{
    m_deliversLater = false;
    const QPointer<Connection> self(this);
    while (self && !m_received.empty()) {
        const Message message = std::move(m_received.front());
        m_received.pop_front();
        handOut(message);
    }
    if (self && !m_isOpen && !std::exchange(m_isEndTold, true))
        Q_EMIT disconnected();
}

void Connection::handOut(const Message& message)
{
    const bool isCall = message.type() == Message::Type::Call;
    if (isCall && message.interface() == peerInterface)
        send(answerAsPeer(message));
    else
        Q_EMIT received(message);
}

} // namespace Zendra::DBus
