#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <memory>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QDir>
#include <QFile>

#include "hookedprogram.h"
#include "wait.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra::Tests
{

namespace
{

using ::testing::HasSubstr;
using ::testing::StartsWith;

QStringList form(const QString& log = {})
{
    QStringList words {QStringLiteral(ZENDRA_FORM), QStringLiteral("--place"), QStringLiteral("0,0,560,400")};
    if (!log.isEmpty())
        words << QStringLiteral("--log") << log;
    return words;
}

std::string content(const QString& fileName)
{
    QFile file(fileName);
    file.open(QIODevice::ReadOnly);
    return file.readAll().toStdString();
}

std::string property(const HookClient& client, const char* name)
{
    const QDBusMessage answer = client.call("org.freedesktop.DBus.Properties", QStringLiteral("Get"),
        {QStringLiteral("org.zendra.Hook1"), QLatin1String(name)});
    return text(answer.arguments().value(0).value<QDBusVariant>().variant().toString());
}

/// "ticks and switches" of all threads of a process: the same again when it did nothing meanwhile.
std::string activity(qint64 process)
{
    std::string result;
    const QString tasks = QStringLiteral("/proc/%1/task").arg(process);
    for (const QString& task : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString folder = tasks + QLatin1Char('/') + task;
        const QStringList fields = QString::fromStdString(content(folder + QStringLiteral("/stat")))
                                       .section(QLatin1Char(')'), -1)
                                       .split(QLatin1Char(' '));
        const QString status = QString::fromStdString(content(folder + QStringLiteral("/status")));
        result += text(fields.value(12) + QLatin1Char('+') + fields.value(13) + QLatin1Char(' ')
            + status.section(QStringLiteral("voluntary_ctxt_switches:"), 1, 1)
                  .trimmed()
                  .section(QLatin1Char('\n'), 0, 0)
            + QLatin1Char('\n'));
    }
    return result;
}

int descriptors(qint64 process)
{
    return QDir(QStringLiteral("/proc/%1/fd").arg(process)).entryList(QDir::System | QDir::Files).size();
}

/// A plain X client that is hooked and has the focus.
class PlainClient
{
public:
    PlainClient()
        : program(server, {QStringLiteral(ZENDRA_XCLIENT)})
        , client(program.address())
    {
        EXPECT_TRUE(waitFor([this] { return contains("ready"); }));
    }
    bool contains(const char* output) { return program.output().find(output) != std::string::npos; }
    void type(const char* keys) const { client.call(QStringLiteral("TypeText"), {QLatin1String(keys)}); }

    XServer server;
    HookedProgram program;
    HookClient client;
};

} // namespace

TEST(Agent, ServesAQtApplicationOnItsOwnConnection)
{
    const XServer server;
    QTemporaryDir folder;
    const QString log = folder.filePath(QStringLiteral("log"));
    HookedProgram program(server, form(log));
    ASSERT_EQ(program.serving(), program.process().processId());
    const HookClient client(program.address());
    EXPECT_EQ(property(client, "Variant"), "qt");
    EXPECT_EQ(property(client, "Display"), server.displayName());
    EXPECT_EQ(property(client, "ProgramName"), "zendra-example-form");
    EXPECT_EQ(text(client.call(QStringLiteral("PointerWarp"), {100, 60, -1}).errorMessage()), "");
    client.call(QStringLiteral("PointerClick"), {1, 100, 60, -1, 0, 1});
    const QVariantList typed
        = client.call(QStringLiteral("TypeText"), {QStringLiteral("Hi, Qt")}).arguments();
    EXPECT_EQ(typed, (QVariantList {6U, QString()}));
    EXPECT_TRUE(waitFor([&] { return content(log).find("Hi, Qt") != std::string::npos; })) << content(log);

    const QString words = QStringLiteral("grüße ж");
    EXPECT_EQ(client.error(QStringLiteral("SetClipboardText"), {words}), "");
    EXPECT_EQ(client.call(QStringLiteral("GetClipboardText")).arguments(), QVariantList {words});
    EXPECT_EQ(program.errors(), "");
}

TEST(Agent, PassesAScreenshotByDescriptor)
{
    const XServer server;
    HookedProgram program(server, form());
    const HookClient client(program.address());
    runEventLoop(500);
    const QVariantList picture
        = client.call(QStringLiteral("DesktopScreenshot"), {0, 0, -1, -1, -1}).arguments();
    ASSERT_EQ(picture.size(), 5);
    EXPECT_EQ(picture[1].toInt(), 800);
    const auto file = picture[0].value<QDBusUnixFileDescriptor>();
    struct stat status {
    };
    ASSERT_EQ(fstat(file.fileDescriptor(), &status), 0);
    ASSERT_EQ(status.st_size, 600L * picture[3].toInt());
    const auto* pixels = static_cast<const uint*>(
        mmap(nullptr, static_cast<size_t>(status.st_size), PROT_READ, MAP_SHARED, file.fileDescriptor(), 0));
    ASSERT_NE(pixels, MAP_FAILED);
    const Connection x(server);
    XImage* seen = XGetImage(x, DefaultRootWindow(x.get()), 0, 0, 800, 600, AllPlanes, ZPixmap);
    int different = 0;
    int notBlack = 0;
    for (int i = 0; i < 800 * 600; ++i) {
        different += (pixels[i] & 0xFFFFFFU) != (XGetPixel(seen, i % 800, i / 800) & 0xFFFFFFU) ? 1 : 0;
        notBlack += (pixels[i] & 0xFFFFFFU) != 0 ? 1 : 0;
    }
    EXPECT_EQ(different, 0);
    EXPECT_GT(notBlack, 100'000);
    XDestroyImage(seen);
    munmap(const_cast<uint*>(pixels), static_cast<size_t>(status.st_size));
}

TEST(Agent, PassesThroughWrappersAndLeavesChildrenAlone)
{
    const XServer server;
    QTemporaryDir folder;
    const QString seen = folder.filePath(QStringLiteral("environment"));
    HookedProgram program(server,
        {QStringLiteral("sh"), QStringLiteral("-c"),
            QStringLiteral("env A=1 xterm -e sh -c 'env >%1; read line; echo \"$line\" >>%1'").arg(seen)},
        {QStringLiteral("LD_PRELOAD=libm.so.6:%1").arg(QStringLiteral(ZENDRA_PRELOAD))});
    const HookClient client(program.address());
    EXPECT_EQ(property(client, "ProgramName"), "xterm");
    EXPECT_EQ(property(client, "Variant"), "pure");
    ASSERT_TRUE(waitFor([&] { return content(seen).find("A=1\n") != std::string::npos; }));
    EXPECT_THAT(content(seen), HasSubstr("LD_PRELOAD=libm.so.6\n"));
    client.call(QStringLiteral("PointerWarp"), {50, 50, -1});
    client.call(QStringLiteral("TypeText"), {QStringLiteral("typed")});
    client.call(QStringLiteral("SendKeyEventToFocusWindow"), {QStringLiteral("<Enter>")});
    EXPECT_TRUE(waitFor([&] { return content(seen).find("typed\n") != std::string::npos; })) << content(seen);
    EXPECT_TRUE(waitFor([&] { return program.sockets().isEmpty(); }));
}

TEST(Agent, LeavesAPlainProgramAsItWas)
{
    PlainClient plain;
    plain.type("l");
    EXPECT_TRUE(waitFor([&] { return plain.contains("locale C\n"); })) << plain.program.output();
    plain.type("f"); // a child that exits
    EXPECT_TRUE(waitFor([&] { return plain.contains("child 7\n"); })) << plain.program.output();
    plain.type("e"); // the program's own handler sees its errors ...
    EXPECT_TRUE(waitFor([&] { return plain.contains("error 3\n"); })) << plain.program.output();
    // ... and not the hook's: the server has no button 9. Without a handler that would end the program.
    plain.client.call(QStringLiteral("PointerButton"), {128, true, 1});
    plain.client.call(QStringLiteral("PointerPosition"));
    plain.type("a");
    EXPECT_TRUE(waitFor([&] { return plain.contains("key a\n"); })) << plain.program.output();
    EXPECT_EQ(plain.program.errors(), "");
}

TEST(Agent, ServesADragWhileTheApplicationIsInItsOwnLoop)
{
    const XServer server;
    QTemporaryDir folder;
    const QString log = folder.filePath(QStringLiteral("log"));
    HookedProgram program(server, form(log));
    const HookClient client(program.address());
    runEventLoop(500);
    EXPECT_EQ(client.error(QStringLiteral("PointerDragAndDropBegin"), {40, 235, -1, 1, 10}), "");
    EXPECT_EQ(client.error(QStringLiteral("PointerPosition")), "");
    EXPECT_EQ(client.error(QStringLiteral("PointerDragAndDropEnd"), {400, 200, -1, 1, 0, true}), "");
    EXPECT_TRUE(waitFor([&] { return content(log).find("canvas drop") != std::string::npos; }))
        << content(log);
}

TEST(Agent, RefusesWhatMakesNoSense)
{
    PlainClient plain;
    const HookClient& client = plain.client;
    const QString invalid = QStringLiteral("InvalidArgs");
    // Every method of the interface is there, and takes no argument that it does not know.
    const QDBusMessage answer
        = client.call("org.freedesktop.DBus.Introspectable", QStringLiteral("Introspect"), {});
    const QStringList parts = answer.arguments().value(0).toString().split(QStringLiteral("<method name=\""));
    int methods = 0;
    for (const QString& part : parts.mid(1)) {
        const QString method = part.section(QLatin1Char('"'), 0, 0);
        if (method == QLatin1String("Introspect") || method == QLatin1String("Ping")
            || method == QLatin1String("GetMachineId") || method == QLatin1String("Get")
            || method == QLatin1String("GetAll") || method == QLatin1String("Set"))
            continue;
        EXPECT_EQ(client.error(method, {QStringLiteral("a"), 1.5, 2U}), text(invalid)) << text(method);
        ++methods;
    }
    EXPECT_GE(methods, 34);
    const QVariantMap none;
    const struct {
        const char* method;
        QVariantList arguments;
        const char* error;
    } rows[] = {
        {"Nonsense", {}, "UnknownMethod"},
        {"PointerButton", {3, true, 1}, "InvalidArgs"},
        {"PointerMove", {1, 1, 1}, "InvalidArgs"},
        {"PointerMove", {1, 1, -2}, "InvalidArgs"},
        {"PointerClick", {1, 5, 5, -1, 0, 2'000'000'000}, "InvalidArgs"},
        {"WheelRoll", {-2'147'483'647 - 1}, "InvalidArgs"},
        {"TypeCharacter", {QStringLiteral("ab"), 0}, "InvalidArgs"},
        {"TypeCharacter", {QString(), 0}, "InvalidArgs"},
        {"KeyboardPressRelease", {QString(), true}, "InvalidArgs"},
        {"SendKeys", {QStringLiteral("<>"), true}, "InvalidArgs"},
        {"SendKeyEventToFocusWindow", {QStringLiteral("<%1a>").arg(QStringLiteral("a+").repeated(100'000))},
            "InvalidArgs"},
        {"SendKeyEventToFocusWindow", {QStringLiteral("<NoSuchKey>")}, "OperationFailed"},
        {"DesktopScreenshot", {0, 0, 2'000'000'000, 1, -1}, "InvalidArgs"},
        {"DesktopScreenshot", {900, 0, 1, 1, -1}, "OperationFailed"},
        {"HighlightSetGeometry", {0, 0, 0, 5, -1}, "InvalidArgs"},
        {"RecordScreen", {4U, none}, "InvalidArgs"},
        {"Touch", {0, 1, 1, -1, 0U, 0U}, "OperationFailed"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(client.error(QLatin1String(row.method), row.arguments), row.error) << row.method;
    plain.type("a");
    EXPECT_TRUE(waitFor([&] { return plain.contains("key a\n"); }));
}

TEST(Agent, TakesAwayWhatAClientLeavesBehind)
{
    PlainClient plain;
    const Connection x(plain.server);
    const auto shown = [&x] {
        int count = 0;
        for (const unsigned long window : x.windows()) {
            XWindowAttributes attributes;
            XGetWindowAttributes(x, window, &attributes);
            count += attributes.map_state == IsViewable ? 1 : 0;
        }
        return count;
    };
    {
        const HookClient second(plain.program.address());
        second.call(QStringLiteral("HighlightSetGeometry"), {10, 10, 50, 50, -1});
        second.call(QStringLiteral("HighlightShow"));
        EXPECT_TRUE(waitFor([&] { return shown() == 5; })) << shown();
        EXPECT_EQ(second.call(QStringLiteral("SupressFlush"), {true}).arguments(), QVariantList {false});
        EXPECT_EQ(
            plain.client.call(QStringLiteral("SupressFlush"), {false}).arguments(), QVariantList {false});
        EXPECT_EQ(second.call(QStringLiteral("SupressFlush"), {true}).arguments(), QVariantList {true});
        second.send(QStringLiteral("PointerDragAndDropBegin"), {5, 5, -1, 1, 10});
    }
    EXPECT_TRUE(waitFor([&] { return shown() == 1; })) << shown();

    const qint64 process = plain.program.serving();
    const int before = descriptors(process);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(HookClient(plain.program.address()).error(QStringLiteral("PointerPosition")), "");
    EXPECT_TRUE(waitFor([&] { return descriptors(process) <= before; })) << before << descriptors(process);
}

TEST(Agent, SleepsWhileNobodyAsks)
{
    const XServer server;
    HookedProgram qt(server, form());
    HookedProgram plain(server, {QStringLiteral(ZENDRA_XCLIENT)});
    for (HookedProgram* program : {&qt, &plain})
        EXPECT_EQ(HookClient(program->address()).error(QStringLiteral("PointerPosition")), "");
    runEventLoop(1000);
    const std::string before = activity(qt.serving()) + activity(plain.serving());
    runEventLoop(3000);
    EXPECT_EQ(activity(qt.serving()) + activity(plain.serving()), before);
}

TEST(Agent, EndsWithItsProgram)
{
    for (const char* key : {"q", "c"}) {
        PlainClient plain;
        plain.client.send(
            QStringLiteral("TypeText"), {QString(QLatin1String(key)) + QStringLiteral("x").repeated(5000)});
        EXPECT_TRUE(waitFor([&] { return plain.program.process().state() == QProcess::NotRunning; })) << key;
        EXPECT_EQ(
            plain.program.process().exitStatus(), *key == 'q' ? QProcess::NormalExit : QProcess::CrashExit);
        EXPECT_EQ(plain.program.sockets().isEmpty(), *key == 'q');
        EXPECT_EQ(plain.client.error(QStringLiteral("PointerPosition")).empty(), false);
    }
    const XServer server;
    HookedProgram program(server, form());
    const HookClient client(program.address());
    runEventLoop(500);
    client.send(QStringLiteral("PointerDragAndDropBegin"), {500, 300, -1, 1, 10});
    client.send(QStringLiteral("SendKeyEventToFocusWindow"), {QStringLiteral("<Ctrl+q>")});
    client.send(QStringLiteral("TypeText"), {QStringLiteral("x").repeated(1000)});
    EXPECT_TRUE(waitFor([&] { return program.process().state() == QProcess::NotRunning; }));
    EXPECT_EQ(program.process().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.process().exitCode(), 0);
    EXPECT_TRUE(program.sockets().isEmpty());
}

TEST(Agent, LetsNobodyElseIn)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    PlainClient plain;
    const QString folder = plain.program.file(QStringLiteral("zendra"));
    struct stat status {
    };
    ASSERT_EQ(stat(qPrintable(folder), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    const auto asNobody = [&] {
        QProcess other;
        other.start(QStringLiteral("setpriv"),
            {QStringLiteral("--reuid=65534"), QStringLiteral("--clear-groups"), QStringLiteral("dbus-send"),
                QStringLiteral("--peer=%1").arg(plain.program.address()), QStringLiteral("--print-reply"),
                QStringLiteral("/org/zendra/Hook1"), QStringLiteral("org.zendra.Hook1.PointerPosition")});
        other.waitForFinished();
        return other.readAll().toStdString() + other.readAllStandardError().toStdString();
    };
    EXPECT_THAT(asNobody(), HasSubstr("Permission denied"));
    // Were the folder open, D-Bus itself would still ask who is there.
    chmod(qPrintable(plain.program.file({})), 0755);
    chmod(qPrintable(folder), 0755);
    chmod(qPrintable(plain.program.address().section(QLatin1Char('='), 1)), 0777);
    const std::string refused = asNobody();
    EXPECT_THAT(refused, ::testing::Not(HasSubstr("int32")));
    EXPECT_THAT(refused, ::testing::Not(HasSubstr("Permission denied")));
    // A folder that others may enter is not served in.
    HookedProgram second(plain.server, {QStringLiteral(ZENDRA_XCLIENT)},
        {QStringLiteral("XDG_RUNTIME_DIR=%1").arg(plain.program.file({}))});
    EXPECT_TRUE(waitFor([&] { return second.process().bytesAvailable() > 0; }));
    EXPECT_THAT(second.errors(), StartsWith("zendra: The hook cannot start: Others than its user can enter"));
}

TEST(Agent, SaysWhyItCannotStart)
{
    const XServer server;
    HookedProgram program(server, form(), {QStringLiteral("QT_QPA_PLATFORM=offscreen")});
    std::string errors;
    EXPECT_TRUE(waitFor([&] { return !(errors += program.errors()).empty(); }));
    runEventLoop(300);
    EXPECT_EQ(errors + program.errors(),
        "zendra: The hook cannot start: The application runs on the Qt platform 'offscreen', not on X (xcb)\n");
    EXPECT_EQ(program.process().state(), QProcess::Running);
    EXPECT_TRUE(program.sockets().isEmpty());
}

} // namespace Zendra::Tests
