// Against QtDBus, and against bytes that are no D-Bus.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusUnixFileDescriptor>
#include <QTemporaryDir>

#include <dbus/server.h>
#include <dbus/wire.h>

#include "wait.h"

namespace Zendra::Tests
{

namespace
{

using ::testing::HasSubstr;
using ::testing::StartsWith;

QString q(const char* text)
{
    return QString::fromUtf8(text);
}

/// Answers each call with its own arguments.
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
            connect(connection, &DBus::Connection::received, this, [connection](const DBus::Message& call) {
                connection->send(call.member() == QLatin1String("Fail") ? call.error(q("a.b"), q("no"))
                                                                        : call.reply(call.arguments()));
            });
        });
    }
    QString address() const { return q("unix:path=") + QString(m_path).replace(q(" "), q("%20")); }
    const DBus::Connection& last() const { return *m_connections.back(); }

    /// A socket of the test's own, whose reads do not wait.
    DBus::FileDescriptor rawClient(const QByteArray& bytes) const
    {
        QString errorText;
        DBus::FileDescriptor socket = DBus::connectTo(address(), errorText);
        write(socket.number(), bytes.constData(), static_cast<std::size_t>(bytes.size()));
        fcntl(socket.number(), F_SETFL, O_NONBLOCK);
        return socket;
    }

private:
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
    DBus::Message call = DBus::Message::call("/a", "a.b", "C", arguments);
    return call.makeHeader(7) + call.body() + call.tail();
}

/// What comes, until there is `size` of it or the connection ends.
QByteArray readFrom(const DBus::FileDescriptor& socket, int size, bool& hasEnded)
{
    QByteArray bytes;
    std::vector<DBus::FileDescriptor> descriptors;
    hasEnded = false;
    waitFor([&] {
        hasEnded = DBus::receive(socket.number(), 0, 65536, bytes, descriptors) == DBus::Transfer::Ended;
        return hasEnded || bytes.size() >= size;
    });
    return bytes;
}

} // namespace

TEST(DBus, CarriesEveryTypeToQtAndBack)
{
    const Echo echo;
    QDBusConnection client = QDBusConnection::connectToPeer(echo.address(), q("echo"));
    QTemporaryDir folder;
    QFile file(folder.filePath(q("file")));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.write("content");
    file.flush();
    const QVariantMap map {{q("one"), 1}, {q("grüße"), q("😀")}, {q("inner"), QVariantMap {{q("x"), 0.5}}},
        {q("list"), QStringList {q("a"), QString()}}};
    QDBusMessage call = QDBusMessage::createMethodCall({}, q("/a/b"), q("a.b"), q("Echo"));
    call << true << -5 << 4'000'000'000U << -0.25 << q("grüße 😀") << QByteArray("a\0b", 3) << QByteArray()
         << QStringList {q("x"), q("")} << QStringList() << map
         << QVariant::fromValue(QDBusObjectPath(q("/c"))) << QVariant::fromValue(QDBusVariant(7));
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
    EXPECT_EQ(answer.signature(), q("biudsayayasasa{sv}ov"));
    for (int index = 0; index < 9; ++index)
        EXPECT_EQ(answer.arguments().value(index), call.arguments().value(index)) << index;
    const auto mapBack = qdbus_cast<QVariantMap>(answer.arguments().value(9));
    EXPECT_EQ(mapBack.size(), 4);
    EXPECT_EQ(mapBack.value(q("grüße")), map.value(q("grüße")));
    EXPECT_EQ(qdbus_cast<QVariantMap>(mapBack.value(q("inner"))), map.value(q("inner")).toMap());
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

TEST(DBus, UnderstandsTheOtherByteOrderAndMessagesInPieces)
{
    const Echo echo;
    // The call of a.b.C with the text "hé" and the number 258, as a big-endian machine writes it.
    const QByteArray call = QByteArray::fromHex("42010001 0000000c 00000009 00000028"
                                                "01016f00 00000002 2f610000 00000000"
                                                "03017300 00000001 43000000 00000000"
                                                "08016700 02737500"
                                                "00000003 68c3a900 00000102");
    const DBus::FileDescriptor client = echo.rawClient({});
    for (const char byte : greeting() + call) {
        write(client.number(), &byte, 1);
        runEventLoop(1);
    }
    bool hasEnded = false;
    const QByteArray answer = readFrom(client, 80, hasEnded);
    EXPECT_THAT(answer.toStdString(), StartsWith("OK "));
    ASSERT_TRUE(!hasEnded && answer.size() >= 80);
    std::vector<DBus::FileDescriptor> none;
    const DBus::Message reply = DBus::Message::parse(answer.mid(answer.indexOf("\r\n") + 2), none);
    EXPECT_EQ(reply.replySerial(), 9U);
    EXPECT_EQ(reply.arguments(), (QVariantList {q("hé"), 258U}));
}

TEST(DBus, EndsTheConnectionOfWhoeverDoesNotSpeakIt)
{
    const Echo echo;
    const auto nul = QByteArray(1, '\0');
    const QByteArray good = callBytes({q("text")});
    const auto changed = [&](int place, const char* hex) {
        const QByteArray bytes = QByteArray::fromHex(hex);
        return greeting() + QByteArray(good).replace(place, bytes.size(), bytes);
    };
    const auto bomb = [](const QByteArray& signature, const QByteArray& body) {
        DBus::Message call = DBus::Message::call("/a", "a.b", "C", {body});
        QByteArray bytes = call.makeHeader(7) + body;
        const auto size = static_cast<quint32>(body.size());
        bytes.replace(4, 4, QByteArray(reinterpret_cast<const char*>(&size), 4));
        const int place = bytes.indexOf(QByteArray("\x02"
                                                   "ay",
            3));
        return greeting() + bytes.replace(place, 1 + signature.size(), char(signature.size()) + signature);
    };
    const QByteArray rows[] = {"AUTH EXTERNAL\r\n", nul + "BEGIN\r\n", nul + QByteArray(100'000, 'a'),
        nul + QByteArray("AUTH\r\n").repeated(10), greeting() + "GET / HTTP/1.1\r\n\r\n", changed(0, "6d"),
        changed(3, "02"), changed(4, "ffffffff"), changed(4, "07000000"), changed(12, "ffffff7f"),
        changed(8, "00000000"), changed(good.size() - 9, "ff"), changed(good.size() - 1, "41"),
        bomb("vv", QByteArray("\2vv\0", 4)), bomb("(y", "ab"), bomb("h", QByteArray(4, '\0')),
        bomb("ay", QByteArray("\xff\xff\xff\x7f", 4)),
        bomb("ag", QByteArray("\x40\x0d\x03\0", 4) + QByteArray(200'000, '\0'))};
    int number = 0;
    for (const QByteArray& row : rows) {
        SCOPED_TRACE(number++);
        bool hasEnded = false;
        const QByteArray answer = readFrom(echo.rawClient(row), 1 << 20, hasEnded);
        EXPECT_TRUE(hasEnded) << answer.toStdString();
    }
    bool hasEnded = false;
    const QByteArray stranger = nul + "AUTH EXTERNAL " + QByteArray("12345").toHex() + "\r\n";
    EXPECT_EQ(readFrom(echo.rawClient(stranger), 19, hasEnded), "REJECTED EXTERNAL\r\n");
    const QByteArray asksFirst = nul + "AUTH\r\nAUTH EXTERNAL\r\nDATA\r\nX\r\nBEGIN\r\n";
    EXPECT_THAT(readFrom(echo.rawClient(asksFirst + good), 105, hasEnded).toStdString(), HasSubstr("text"));
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
        // In memory of its own size, where a sanitizer sees its end.
        const QByteArray exact(bytes.constData(), bytes.size() - int(random() % 8));
        try {
            std::vector<DBus::FileDescriptor> none;
            if (DBus::Message::size(exact, 0) == exact.size()) {
                EXPECT_LE(DBus::Message::parse(exact, none).arguments().size(), 20);
            }
        } catch (const DBus::Malformed&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 1000);
}

TEST(DBus, ReadsNoMoreFromWhoDoesNotTakeTheAnswers)
{
    const Echo echo;
    const QByteArray call = callBytes({QByteArray(1 << 20, 'x')});
    DBus::FileDescriptor client = echo.rawClient(greeting());
    std::deque<DBus::Outgoing> queue;
    qint64 sent = 0;
    const auto send = [&] {
        while (DBus::sendFrom(queue, client.number(), sent) == DBus::Transfer::Done) {
            if (queue.empty())
                queue.push_back({call, {}});
        }
    };
    queue.push_back({call, {}});
    while (waitFor(
        [&, before = sent] {
            send();
            return sent != before;
        },
        300)) { }
    EXPECT_LT(sent, 30 << 20);
    queue.resize(1); // finishes its message
    QByteArray answers;
    std::vector<DBus::FileDescriptor> none;
    const qint64 whole = sent / call.size() + (queue.front().written > 0 ? 1 : 0);
    EXPECT_TRUE(waitFor([&] {
        if (!queue.empty() && queue.front().written > 0)
            DBus::sendFrom(queue, client.number(), sent);
        while (DBus::receive(client.number(), 0, 65536, answers, none) == DBus::Transfer::Done) { }
        return answers.size() > whole << 20;
    })) << answers.size()
        << ' ' << whole;
    // Whoever goes without having taken them is noticed.
    client = echo.rawClient(greeting());
    queue.assign(20, {call, {}});
    waitFor([&] { return DBus::sendFrom(queue, client.number(), sent) == DBus::Transfer::Ended; }, 500);
    client = {};
    EXPECT_TRUE(waitFor([&] { return !echo.last().isOpen(); }));
}

} // namespace Zendra::Tests
