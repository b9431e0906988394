// The command with --app: what it makes of applications that behave badly, and of real ones.

#include <csignal>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include <QThread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <protocol/dbusserver.h>

#include "listener.h"
#include "wait.h"
#include "zendracommand.h"

namespace Zendra::Tests
{

namespace
{

using testing::HasSubstr;
using testing::Not;

/// Returns the reply to a call; without one there is none, or the connection is closed.
using Reaction = std::function<DBus::Message(const DBus::Message& call, DBus::Connection& connection)>;
using Reactions = std::map<std::string, Reaction>;

Reaction fails(const char* name, const char* text = "")
{
    return [=](const DBus::Message& call, auto&) { return call.error(name, QLatin1String(text)); };
}

Reaction replies(const QVariantList& values)
{
    return [values](const DBus::Message& call, auto&) { return call.reply(values); };
}

DBus::Message staysSilent(const DBus::Message&, DBus::Connection&)
{
    return {};
}

DBus::Message hangsUp(const DBus::Message&, DBus::Connection& connection)
{
    connection.close();
    return {};
}

/// Stands in for the hook of an application that misbehaves, in a thread of its own. Calls are answered by
/// the reactions with their names, others without values.
class FakeHook : public QThread
{
public:
    FakeHook(const std::string& path, Reactions reactions)
        : m_path(path)
        , m_reactions(std::move(reactions))
    {
        const QVariantMap properties {{QStringLiteral("ProgramName"), QStringLiteral("fake")},
            {QStringLiteral("ProcessId"), getpid()}, {QStringLiteral("Variant"), QStringLiteral("pure")},
            {QStringLiteral("Display"), QStringLiteral(":none")}};
        m_reactions.emplace("GetAll", replies({properties}));
        m_reactions.emplace("SuppressFlush", replies({false}));
        std::filesystem::remove(path);
        start();
        EXPECT_TRUE(waitFor([&path] { return std::filesystem::exists(path); }));
    }

    ~FakeHook() override
    {
        quit();
        wait();
    }

protected:
    void run() override
    {
        std::vector<std::unique_ptr<DBus::Connection>> connections;
        QString errorText;
        const auto server = DBus::Server::listen(QString::fromStdString(m_path + ".hidden"), errorText);
        connect(server.get(), &DBus::Server::connected, server.get(), [this, &connections](auto& accepted) {
            connections.push_back(std::move(accepted));
            DBus::Connection& connection = *connections.back();
            connect(&connection, &DBus::Connection::received, &connection,
                [this, &connection](const DBus::Message& call) { react(call, connection); });
        });
        std::filesystem::rename(m_path + ".hidden", m_path); // it is served from now on
        exec();
    }

private:
    void react(const DBus::Message& call, DBus::Connection& connection) const
    {
        const auto reaction = m_reactions.find(QString(call.member()).toStdString());
        const DBus::Message reply
            = reaction != m_reactions.end() ? reaction->second(call, connection) : call.reply();
        if (reply.isValid())
            connection.send(reply);
    }

    const std::string m_path;
    Reactions m_reactions;
};

/// A runtime folder of the test's own, so that no application of the machine is in the way.
class Remote : public testing::Test
{
protected:
    Remote()
    {
        std::string name = "/tmp/zendra-test-XXXXXX";
        m_folder = mkdtemp(name.data());
        m_runtime.emplace("XDG_RUNTIME_DIR", m_folder);
        std::filesystem::create_directory(sockets());
        std::filesystem::permissions(sockets(), std::filesystem::perms::owner_all);
    }

    ~Remote() override
    {
        std::error_code ignored; // sockets go by themselves meanwhile
        std::filesystem::remove_all(m_folder, ignored);
    }

    std::string sockets() const { return m_folder + "/zendra"; }
    std::string socket() const { return sockets() + "/" + std::to_string(getpid()); }
    std::string file(const std::string& name, const std::string& content = {}) const
    {
        const std::string path = m_folder + "/" + name;
        if (!content.empty())
            std::ofstream(path) << content;
        return path;
    }

    static Outcome inApp(Words words)
    {
        words.insert(words.begin(), {"--app", std::to_string(getpid())});
        return zendra(words);
    }

private:
    std::string m_folder;
    std::optional<EnvironmentVariable> m_runtime;
};

/// A picture that is said to be of this size, in a file of `fileSize` bytes.
Reaction picture(int width, int height, int bytesPerLine, int fileSize)
{
    return [=](const DBus::Message& call, auto&) {
        const MemoryFile file(std::string(static_cast<std::size_t>(fileSize), '\x7f'));
        const QVariant pixels = QVariant::fromValue(DBus::UnixFd(dup(file.descriptor())));
        return call.reply({pixels, width, height, bytesPerLine, 1.0});
    };
}

TEST_F(Remote, PassesErrorsOnAndRefusesInvalidReplies)
{
    const FakeHook hook(socket(),
        {{"WheelRoll", fails("org.zendra.Error.OperationFailed", "The wheel is stuck.")},
            {"TypeText", replies({4U, QStringLiteral("No key has it")})},
            {"PointerPosition", replies({QStringLiteral("here")})}, {"PointerWarp", fails("a.b")}});
    expectFailure(inApp({"wheel", "1"}), 1, "zendra: The wheel is stuck.\n");
    expectFailure(inApp({"type", "añüxb"}), 1, "Typed 4 of 5 characters: No key has it");
    expectFailure(inApp({"where"}), 1, "replied to PointerPosition with 's' where 'ii' was expected");
    expectFailure(inApp({"warp", "1", "1"}), 1, "refused PointerWarp: a.b");
    expectDone(inApp({"click", "1", "1"}));
    expectFailure(inApp({"info"}), 3, "Cannot open display ':none'");
}

TEST_F(Remote, ReadsNothingOutsideAPicture)
{
    const struct {
        int width, height, bytesPerLine, fileSize, isGood;
    } cases[] = {{2, 2, 8, 16, 1}, {2, 2, 12, 20, 1}, {2, 2, 8, 15, 0}, {2, 2, 4, 16, 0}, {2, -2, 8, 16, 0},
        {0, 0, 0, 16, 0}, {65535, 65535, 262140, 64, 0}, {1 << 30, 1, 16, 64, 0}, {1, 4, 0x40000001, 64, 0},
        {2, 2, -8, 64, 0}};
    for (const auto& given : cases) {
        SCOPED_TRACE(given.bytesPerLine);
        const FakeHook hook(socket(),
            {{"DesktopScreenshot", picture(given.width, given.height, given.bytesPerLine, given.fileSize)}});
        if (given.isGood != 0)
            EXPECT_EQ(inApp({"screenshot", "-"}).status, 0);
        else
            expectFailure(inApp({"screenshot", "-"}), 1, "The application sent no valid picture");
    }
}

TEST_F(Remote, RecordsThroughTheApplicationWhereItsDisplayCannotBeOpened)
{
    // A screen of 2x1 pixels, both red.
    const QByteArray stream("\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\2\0\0\0\1\0\1\0\0\0\1\0\0"
                            "\0\0\0\2\0\0\0\0\0\0\0\1\0\0\0\5\0\0\0\0\0\0\0\0\0\0\0\2\0\0\0\1\2\xff\0\0",
        64);
    const auto send = [&stream](const DBus::Message& call, DBus::Connection& connection) {
        const QByteArray path = QString(call.path()).toUtf8();
        const auto signal = [&](const QVariant& argument) {
            connection.send(DBus::Message::signal(path, "org.zendra.Recording1", "Segment", {argument}));
        };
        if (call.arguments().value(0) == 0U) {
            signal(7); // not of the type that was expected
            signal(stream.left(30));
            signal(stream.mid(30));
        }
        return DBus::Message();
    };
    const FakeHook hook(socket(),
        {{"RecordScreen", replies({QVariant::fromValue(DBus::ObjectPath {QStringLiteral("/r")}), 1U})},
            {"BytesReceived", send}});
    const Outcome outcome = inApp({"record", "--for", "0.1", file("a.zrle")});
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    std::ifstream recorded(file("a.zrle"), std::ios::binary);
    EXPECT_EQ(QByteArray::fromStdString(std::string(std::istreambuf_iterator<char>(recorded), {})).left(64),
        stream);
}

TEST_F(Remote, ReportsALostConnectionInOneLineWhateverRuns)
{
    const std::string lost
        = "The connection to application 'fake' (" + std::to_string(getpid()) + ") was lost\n";
    Reactions reactions;
    for (const char* method : {"TypeText", "PointerMove", "HighlightShow", "DesktopScreenshot", "KeyCode"})
        reactions[method] = hangsUp;
    const FakeHook hook(socket(), reactions);
    for (const Words& words : {Words {"type", "a"}, {"click", "--shift", "1", "1"},
             {"highlight", "1,1,9,9", "--for", "100"}, {"screenshot", "-"}})
        expectFailure(inApp(words), 4, "zendra: " + lost);
    const std::string script = file("script.zs", "press a\ntype b\ntype c\n");
    expectFailure(inApp({"script", script}), 4, script + ":2: " + lost);
}

TEST_F(Remote, ListsApplicationsAndRemovesStaleSockets)
{
    expectDone(zendra({"apps"}));
    expectFailure(zendra({"--app", "1", "where"}), 3, "no application can be reached");
    {
        const FakeHook mute(socket(), {{"GetAll", staysSilent}});
        const Outcome outcome = zendra({"apps"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.output, HasSubstr("does not answer\n"));
    }
    const FakeHook hook(socket(), {});
    const std::string id = std::to_string(getpid());
    expectDone(zendra({"--json", "apps"}),
        R"({"answers":true,"display":":none","name":"fake","pid":)" + id + R"(,"variant":"pure"})" + "\n");
    expectFailure(zendra({"--app", "1", "where"}), 3, "what can be reached: fake (" + id + ")");
    expectDone(zendra({"--complete", "--app", ""}), id + "\n");
    expectFailure(zendra({"--app", "fake", "where"}), 2, "--app needs a process id");
    expectFailure(zendra({"--app", "unix:path=" + file("none"), "where"}), 3, "Cannot connect to");
    {
        // A stopped process whose queue is full.
        const DBus::UnixFd listener = listenAt(QString::fromStdString(file("full")), 0);
        const std::string address = "unix:path=" + file("full");
        QString errorText;
        const auto queued = DBus::Connection::open(QString::fromStdString(address), errorText);
        expectFailure(
            zendra({"--app", address + ",guid=" + std::string(32, '0'), "where"}), 3, "does not answer\n");
    }
    std::filesystem::permissions(sockets(), std::filesystem::perms::all);
    expectFailure(zendra({"apps"}), 3, "is not a folder that only its owner can enter");
}

TEST_F(Remote, DrivesAnApplicationAsADisplay)
{
    const XServer server;
    ZendraCommand program({"--json", "run", "--", ZENDRA_EXAMPLE_FORM, "--place", "0,0,560,400"}, &server);
    program.waitForOutput();
    std::string id = zendra({"apps"}).output;
    id.erase(id.find(' '));
    const auto run = [&](Words words, const std::string& input = {}) {
        words.insert(words.begin(), {"--app", id});
        return zendra(server, words, input);
    };
    const Words picture = {"screenshot", "--area", "60,50,240,20", "-"};
    const Connection connection(server);
    EXPECT_TRUE(waitFor([&] { return connection.isPainted(); }));
    const std::string before = run(picture).output;
    expectDone(run({"script", "-"}, "click 100 60\ntype 'Ada Lovelace'\nkeys '<Ctrl+a><Ctrl+c>'\n"));
    EXPECT_TRUE(waitFor([&] { return run({"clipboard", "get"}).output == "Ada Lovelace"; }));
    const std::string after = run(picture).output;
    EXPECT_NE(after, before);
    EXPECT_EQ(after, zendra(server, picture).output);
    expectDone(run({"clipboard", "set", "pasted"}));
    expectDone(run({"clipboard", "get"}), "pasted");
    expectFailure(run({"type", "--no-remap", "aж"}), 1, "Cannot type 'ж' (character 2 of the text): ");
    EXPECT_THAT(run({"info"}).output, HasSubstr("zendra-example-form (" + id + "), variant qt"));

    const int windows = connection.visibleWindows();
    ZendraCommand highlight(
        {"--app", id, "highlight", "20,20,50,50", "--tooltip", "here", "--follow"}, &server);
    EXPECT_TRUE(waitFor([&] { return connection.visibleWindows() > windows; }));
    kill(std::stoi(id), SIGKILL);
    expectFailure(
        highlight.outcome(), 4, "The connection to application 'zendra-example-form' (" + id + ") was lost");
    EXPECT_EQ(program.outcome().status, 128 + SIGKILL);
    // A process that is killed leaves its socket.
    EXPECT_TRUE(std::filesystem::exists(sockets() + "/" + id));
    expectDone(zendra({"apps"}));
    EXPECT_FALSE(std::filesystem::exists(sockets() + "/" + id));
}

/// Starts a program and goes on when a script has run 'clipboard set end'.
const std::string untilClipboardIsSet
    = "exec 2>/dev/null; \"$0\" & until LD_PRELOAD= xsel -bo | grep -q end; do sleep 0.05; done; ";

TEST_F(Remote, RunsAProgramForAScript)
{
    const XServer server;
    const auto run = [&](const std::string& script, const Words& program) {
        Words words {"run", "--script", file("script.zs", script), "--"};
        words.insert(words.end(), program.begin(), program.end());
        return zendra(server, words);
    };
    const Words form {ZENDRA_EXAMPLE_FORM};
    const Words launcher {"sh", "-c", "\"$0\" &", ZENDRA_EXAMPLE_FORM};
    expectDone(run("move 5 6\nwhere", launcher), "5 6\n");
    // Where there is no session bus the program has one, and what it leaves behind is ended.
    const std::string onBus
        = "(trap '' TERM; exec sleep 60) & dbus-send --session --dest=org.freedesktop.DBus "
          "--print-reply / org.freedesktop.DBus.ListNames >/dev/null && exec \"$0\"";
    expectDone(run("wait 1", {"sh", "-c", onBus, ZENDRA_EXAMPLE_FORM}));
    const std::string place = file("script.zs") + ":2: ";
    expectFailure(run("move 1 1\ntype --no-remap ж", form), 1, place + "Cannot type 'ж'");
    const Words dying {"sh", "-c", untilClipboardIsSet + "kill -9 $!", ZENDRA_EXAMPLE_FORM};
    expectFailure(
        run("clipboard set end\nwait 60000\nmove 1 1", dying), 4, place + "The connection to application");
    expectFailure(
        run("wait 1", {"sh", "-c", "exit 5"}), 3, "'sh' ended with status 5 before it could be reached");
    expectFailure(run("wait 1", {"no-such-program"}), 3, "Cannot start 'no-such-program'");
    const std::string output = file("output");
    const std::string ending = "until [ -s " + output + " ]; do sleep 0.05; done; kill $!; exit 7";
    EXPECT_EQ(shell(server,
                  "$zendra --json run -- sh -c '\"$0\" & " + ending + "' " ZENDRA_EXAMPLE_FORM " >" + output)
                  .status,
        7);
    expectDone(zendra({"apps"}));
}

TEST_F(Remote, FailsWhenTheProgramEndsDuringACheckOrWithAnError)
{
    // The application ends when the first line has set the clipboard, and then the program does.
    const auto run = [&](const char* lastLine, const char* end) {
        const std::string script = file("end.zs", std::string("clipboard set end\n") + lastLine);
        const std::string program = untilClipboardIsSet + "kill $!; wait $!; eval \"$1\"";
        return zendra(
            {"run", "--headless", "--script", script, "--", "sh", "-c", program, ZENDRA_EXAMPLE_FORM, end});
    };
    expectFailure(
        run("wait-window none --timeout 9", "exit 0"), 4, "end.zs:2: The connection to application");
    expectDone(run("wait 9000", "exit 0"));
    expectFailure(run("wait 9000", "exit 5"), 1, "'sh' ended with status 5");
    expectFailure(run("wait 9000", "kill -9 $$"), 1, "was ended by signal 9");
}

TEST_F(Remote, LogsOnRequestWhatItDoesButNotWhatItTypes)
{
    const Words words {"run", "--script", "-", "--", ZENDRA_EXAMPLE_FORM};
    const std::string script = "type sEcreT\nclipboard set sEcreT\n";
    const XServer server;
    expectDone(zendra(server, words, script));
    const EnvironmentVariable log("ZENDRA_LOG", "debug");
    const Outcome outcome = zendra(server, words, script);
    EXPECT_EQ(outcome.status, 0);
    for (const char* message : {"zendra.process: Started", "zendra.session: Line 2, clipboard, done",
             "zendra.remote: TypeText returned", "zendra.agent: SetClipboardText: done"})
        EXPECT_THAT(outcome.error, HasSubstr(message));
    EXPECT_THAT(outcome.error, Not(HasSubstr("sEcreT")));
}

TEST_F(Remote, ReportsAProgramThatIsNotAnXClient)
{
    const XServer server;
    const EnvironmentVariable noTimeout("ZENDRA_TIMEOUT", "");
    expectFailure(zendra(server, {"run", "--", "sleep", "60"}), 3, "within 10 seconds: it has not become");
}

} // namespace

} // namespace Zendra::Tests
