// Against QtDBus, and against bytes that are not D-Bus.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <random>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <protocol/dbusserver.h>

#include "listener.h"
#include "wait.h"

namespace Zendra::Tests
{

namespace
{

QString q(const char* text)
{
    return QString::fromUtf8(text);
}

/// Replies to each call with its own arguments, at once or when it is told to.
class Echo : public QObject
{
public:
    Echo()
        : m_path(m_folder.filePath(q("so cket")))
        , m_server(DBus::Server::listen(m_path, m_errorText))
    {
        connect(m_server.get(), &DBus::Server::connected, this, [this](auto& accepted) {
            m_connections.push_back(std::move(accepted));
            DBus::Connection* connection = m_connections.back().get();
            connect(connection, &DBus::Connection::received, this, [this](const DBus::Message& call) {
                calls.push_back(call);
                if (!waits)
                    reply();
            });
        });
    }
    void reply()
    {
        for (const DBus::Message& call : std::exchange(calls, {})) {
            m_connections.back()->send(call.member() == QLatin1String("Fail") ? call.error("a.b", q("no"))
                                                                              : call.reply(call.arguments()));
        }
    }
    QString address() const { return DBus::toAddress(m_path); }
    const DBus::Connection& last() const { return *m_connections.back(); }

    /// A socket whose reads and writes do not wait.
    DBus::UnixFd rawClient(const QByteArray& bytes) const
    {
        DBus::UnixFd socket(::socket(AF_UNIX, SOCK_STREAM, 0));
        sockaddr_un address {};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, qPrintable(m_path), sizeof address.sun_path);
        EXPECT_EQ(connect_(socket.number(), address), 0);
        fcntl(socket.number(), F_SETFL, O_NONBLOCK);
        EXPECT_EQ(send(socket.number(), bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL), bytes.size());
        return socket;
    }

    bool waits = false;
    std::vector<DBus::Message> calls;

private:
    static int connect_(int socket, const sockaddr_un& address)
    {
        return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }

    QTemporaryDir m_folder;
    QString m_path;
    QString m_errorText;
    std::vector<std::unique_ptr<DBus::Connection>> m_connections;
    std::unique_ptr<DBus::Server> m_server;
};

QByteArray greeting()
{
    return QByteArray(1, '\0') + "AUTH EXTERNAL " + QByteArray::number(geteuid()).toHex() + "\r\nBEGIN\r\n";
}

QByteArray callBytes(const QVariantList& arguments)
{
    const DBus::Message call = DBus::Message::call("/a", "a.b", "C", arguments);
    dbus_message_set_serial(call.get(), 7);
    char* data = nullptr;
    int size = 0;
    dbus_message_marshal(call.get(), &data, &size);
    QByteArray bytes(data, size);
    dbus_free(data);
    return bytes;
}

/// Appends what has come; false when the other side has closed the connection.
bool readFrom(const DBus::UnixFd& socket, QByteArray& bytes)
{
    QByteArray buffer(1 << 16, '\0');
    ssize_t count = 0;
    while ((count = recv(socket.number(), buffer.data(), size_t(buffer.size()), 0)) > 0)
        bytes.append(buffer.constData(), static_cast<int>(count));
    return count < 0 && errno == EAGAIN;
}

/// Writes `bytes` again and again until the other side has not read for a while; returns how much went.
/// `offset` is how much of the last repetition.
qint64 flood(const DBus::UnixFd& socket, const QByteArray& bytes, int& offset)
{
    qint64 sent = 0;
    const auto write = [&] {
        const qint64 before = sent;
        ssize_t count = 0;
        while ((count = send(socket.number(), bytes.constData() + offset, size_t(bytes.size() - offset), 0))
            > 0) {
            offset = static_cast<int>((offset + count) % bytes.size());
            sent += count;
        }
        return sent != before;
    };
    while (waitFor(write, 500)) { }
    return sent;
}

} // namespace

TEST(DBus, CarriesEveryTypeToQtAndBack)
{
    std::signal(SIGPIPE, SIG_DFL);
    const Echo echo;
    QDBusConnection client = QDBusConnection::connectToPeer(echo.address(), q("echo"));
    QTemporaryDir folder;
    QFile file(folder.filePath(q("file")));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.write("content");
    file.flush();
    const QVariantMap map {{q("one"), 1}, {q("grüße"), q("😀")}};
    QDBusMessage call = QDBusMessage::createMethodCall({}, q("/a/b"), q("a.b"), q("Echo"));
    call << true << -5 << 4'000'000'000U << -0.25 << q("grüße 😀") << QByteArray("a\0b", 3) << QByteArray()
         << QStringList {q("x"), q("")} << QStringList() << map
         << QVariant::fromValue(QDBusObjectPath(q("/c")));
    QDBusMessage withFile = QDBusMessage::createMethodCall({}, q("/a/b"), q("a.b"), q("Echo"));
    withFile << QVariant::fromValue(QDBusUnixFileDescriptor(file.handle()));
    const QDBusMessage failing = QDBusMessage::createMethodCall({}, q("/a/b"), q("a.b"), q("Fail"));
    const QDBusMessage ping
        = QDBusMessage::createMethodCall({}, q("/"), q("org.freedesktop.DBus.Peer"), q("Ping"));

    std::vector<QDBusPendingCall> calls;
    for (const QDBusMessage& message : {call, failing, ping, withFile}) {
        calls.push_back(client.asyncCall(message));
        ASSERT_TRUE(waitFor([&] { return calls.back().isFinished(); }));
    }
    const QDBusMessage answer = calls[0].reply();
    EXPECT_EQ(answer.signature(), q("biudsayayasasa{sv}o"));
    for (int index = 0; index < 9; ++index)
        EXPECT_EQ(answer.arguments().value(index), call.arguments().value(index)) << index;
    EXPECT_EQ(qdbus_cast<QVariantMap>(answer.arguments().value(9)), map);
    QFile same;
    ASSERT_EQ(calls[3].reply().signature(), q("h"));
    ASSERT_TRUE(same.open(calls[3].reply().arguments()[0].value<QDBusUnixFileDescriptor>().fileDescriptor(),
        QIODevice::ReadOnly));
    same.seek(0);
    EXPECT_EQ(same.readAll(), "content");
    EXPECT_EQ(calls[1].reply().errorName() + calls[1].reply().errorMessage(), q("a.bno"));
    EXPECT_FALSE(calls[2].isError());
    client = QDBusConnection(q("none"));
    QDBusConnection::disconnectFromPeer(q("echo"));
    EXPECT_TRUE(waitFor([&] { return !echo.last().isOpen(); }));
}

TEST(DBus, ClosesConnectionsThatDoNotFollowTheProtocol)
{
    std::signal(SIGPIPE, SIG_DFL);
    const Echo echo;
    const auto nul = QByteArray(1, '\0');
    const QByteArray good = callBytes({q("text")});
    const auto changed = [&](int place, const char* hex) {
        const QByteArray bytes = QByteArray::fromHex(hex);
        return greeting() + QByteArray(good).replace(place, bytes.size(), bytes);
    };
    const QByteArray rows[] = {"AUTH EXTERNAL\r\n", nul + "BEGIN\r\n", nul + QByteArray(100'000, 'a'),
        greeting() + "GET / HTTP/1.1\r\n\r\n", changed(0, "6d"), changed(3, "02"), changed(4, "ffffffff"),
        changed(4, "01000004"), changed(12, "ffffff7f"), changed(8, "00000000"),
        changed(good.size() - 1, "41")};
    int number = 0;
    for (const QByteArray& row : rows) {
        SCOPED_TRACE(number++);
        const DBus::UnixFd client = echo.rawClient(row);
        QByteArray answer;
        EXPECT_TRUE(waitFor([&] { return !readFrom(client, answer); })) << answer.toStdString();
    }
    for (const char* start : {"AUTH ANONYMOUS\r\n", "AUTH EXTERNAL 3132333435\r\n"}) {
        const DBus::UnixFd client = echo.rawClient(nul + start);
        QByteArray answer;
        EXPECT_TRUE(waitFor([&] { return readFrom(client, answer) && answer == "REJECTED EXTERNAL\r\n"; }));
    }
    const DBus::UnixFd client = echo.rawClient(greeting() + good);
    QByteArray answer;
    EXPECT_TRUE(waitFor([&] { return readFrom(client, answer) && answer.contains("text"); }));
    struct sigaction action = {};
    sigaction(SIGPIPE, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL); // libdbus could ignore it for the whole process
}

TEST(DBus, ReadsNothingOutsideAMessage)
{
    const QByteArray good = callBytes(
        {q("text"), QStringList {q("a")}, QVariantMap {{q("a"), 1}, {q("b"), QByteArray("xyz")}}, 1.5, true});
    std::mt19937 random(1);
    int refused = 0;
    for (int round = 0; round < 20'000; ++round) {
        QByteArray bytes = good;
        for (unsigned int count = 1 + random() % 3; count > 0; --count)
            bytes[static_cast<int>(random() % static_cast<unsigned int>(bytes.size()))] = char(random());
        DBusMessage* message = dbus_message_demarshal(bytes.constData(), bytes.size(), nullptr);
        if (message == nullptr)
            ++refused;
        else
            EXPECT_LE(DBus::Message(message).arguments().size(), 20);
    }
    EXPECT_GT(refused, 1000);
    EXPECT_LT(refused, 19'000);
}

TEST(DBus, StopsReadingFromClientsThatSendTooMuch)
{
    Echo echo;
    // One that does not read the replies.
    const QByteArray large = callBytes({QByteArray(1 << 20, 'x')});
    DBus::UnixFd client = echo.rawClient(greeting());
    int offset = 0;
    qint64 sent = flood(client, large, offset);
    EXPECT_LT(sent, 30 << 20);
    QByteArray answers;
    EXPECT_TRUE(
        waitFor([&] { return readFrom(client, answers) && answers.size() > sent / large.size() << 20; }));
    client = {}; // the end is noticed although replies are left
    EXPECT_TRUE(waitFor([&] { return !echo.last().isOpen(); }));
    // One whose calls are pending; all of them are handled when there is time for it.
    echo.waits = true;
    const QByteArray small = callBytes({});
    client = echo.rawClient(greeting());
    offset = 0;
    sent = flood(client, small, offset);
    EXPECT_LT(echo.calls.size(), 3000U);
    EXPECT_GT(echo.calls.size(), 100U);
    echo.waits = false;
    echo.reply();
    answers.clear();
    const auto whole = static_cast<int>(sent / small.size());
    EXPECT_GT(whole, 0);
    EXPECT_TRUE(waitFor([&] { return readFrom(client, answers) && answers.count("l\2\1\1") >= whole; }))
        << answers.count("l\2\1\1") << ' ' << whole;
}

TEST(DBus, WaitsTwoSecondsForAllRepliesOnceInterrupted)
{
    const QTemporaryDir folder;
    const DBus::UnixFd listener = listenAt(folder.filePath(q("s")), 1);
    QString errorText;
    const auto connection = DBus::Connection::open(DBus::toAddress(folder.filePath(q("s"))), errorText);
    connection->setInterruption(listener.number()); // readable: the connection is not accepted
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 3; ++i)
        EXPECT_FALSE(connection->call(DBus::Message::call("/a", "a.b", "C", {}), 20'000).isValid());
    EXPECT_TRUE(connection->wasInterrupted());
    EXPECT_LT(timer.elapsed(), 6000); // two for each would be six
}

class DBusFlood : public testing::TestWithParam<int>
{
};

INSTANTIATE_TEST_SUITE_P(Bytes, DBusFlood, testing::Values(0, 60'000));

TEST_P(DBusFlood, ClosesTheConnectionWhileAReplyIsAwaited)
{
    const QTemporaryDir folder;
    const DBus::UnixFd listener = listenAt(folder.filePath(q("s")), 1);
    const DBus::Message signal = DBus::Message::signal("/a", "a.b", "S", {QByteArray(GetParam(), 'x')});
    dbus_message_set_serial(signal.get(), 7);
    const pid_t peer = fork();
    if (peer == 0) {
        const int client = accept(listener.number(), nullptr, nullptr);
        const auto answer = [client](const char* line) {
            char greeting[200];
            return recv(client, greeting, sizeof greeting, 0) > 0 && send(client, line, strlen(line), 0) > 0;
        };
        char* bytes = nullptr;
        int size = 0;
        bool goesOn = answer("OK 0123456789abcdef0123456789abcdef\r\n") && answer("ERROR\r\n")
            && dbus_message_marshal(signal.get(), &bytes, &size) != 0;
        while (goesOn)
            goesOn = send(client, bytes, size_t(size), MSG_NOSIGNAL) > 0;
        _exit(0);
    }
    QString errorText;
    const auto connection = DBus::Connection::open(DBus::toAddress(folder.filePath(q("s"))), errorText);
    EXPECT_FALSE(connection->call(DBus::Message::call("/a", "a.b", "C", {}), 20'000).isValid());
    EXPECT_TRUE(connection->wasFlooded());
    EXPECT_FALSE(connection->isOpen());
    EXPECT_EQ(waitpid(peer, nullptr, 0), peer);
}

} // namespace Zendra::Tests
