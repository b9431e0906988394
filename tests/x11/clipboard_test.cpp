// The clipboard of the pure variant: what is handed to the external tool, and what comes of its failures.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include "puresession.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

/// An environment variable for the time of a test.
class Variable
{
public:
    Variable(const char* name, const QByteArray& value)
        : m_name(name)
        , m_before(qgetenv(name))
    {
        qputenv(name, value);
    }
    ~Variable() { qputenv(m_name, m_before); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* m_name;
    QByteArray m_before;
};

/// A clipboard tool of the test's own is the only program on the path; at first there is none.
class Clipboard : public ::testing::Test
{
protected:
    /// Installs the tool: a shell script. It runs with its own folder as $here.
    void install(const char* script) const
    {
        QFile tool(m_folder.filePath(QStringLiteral("xsel")));
        ASSERT_TRUE(tool.open(QIODevice::WriteOnly));
        tool.write(QByteArray("#!/bin/sh\nhere=${0%/*}\n") + script + '\n');
        tool.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    }

    QByteArray left(const char* name) const
    {
        QFile file(m_folder.filePath(QLatin1String(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
    }

    std::string set(const QString& characters) const { return text(m_session->setClipboardText(characters)); }
    /// "TEXT|ERROR"
    std::string get() const
    {
        const ClipboardText clipboard = m_session->getClipboardText();
        return text(clipboard.text) + '|' + text(clipboard.errorText);
    }

    XServer server;

private:
    QTemporaryDir m_folder;
    Variable m_path {"PATH", m_folder.path().toLocal8Bit()};
    PureSession m_session {server};
};

const QString megabyte = QString(1'000'000, QChar(0xE9));

/// What another client gets when it asks for the clipboard.
std::string pasted(const XServer& server)
{
    const Connection client(server);
    const Atom clipboard = XInternAtom(client, "CLIPBOARD", False);
    const Atom utf8 = XInternAtom(client, "UTF8_STRING", False);
    const Window window = XCreateSimpleWindow(client, DefaultRootWindow(client.get()), 0, 0, 1, 1, 0, 0, 0);
    XConvertSelection(client, clipboard, utf8, XA_CUT_BUFFER0, window, CurrentTime);
    XEvent event {};
    do
        XNextEvent(client, &event);
    while (event.type != SelectionNotify);

    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long rest = 0;
    unsigned char* data = nullptr;
    XGetWindowProperty(
        client, window, XA_CUT_BUFFER0, 0, 10'000, False, utf8, &type, &format, &count, &rest, &data);
    const std::string result(reinterpret_cast<char*>(data), count);
    XFree(data);
    return result;
}

} // namespace

TEST_F(Clipboard, ATextGoesToTheToolAsUtf8)
{
    install("echo \"$@\" >$here/arguments; /bin/cat >$here/written");
    for (const QString& characters : {QString(), QStringLiteral("plain"),
             QString::fromUtf8("Grüße, ű и 🙂\n\tzweite Zeile\n"), megabyte}) {
        EXPECT_EQ(set(characters), "");
        EXPECT_EQ(left("written"), characters.toUtf8());
        EXPECT_EQ(left("arguments"), "-b -i\n");
    }
}

TEST_F(Clipboard, IsReadButNeverReturned)
{
    for (const char* output : {"/bin/echo some text", ":", "/usr/bin/head -c 1000000 /dev/zero"}) {
        install((std::string("echo \"$@\" >$here/arguments; ") + output + "; echo all >$here/read").c_str());
        EXPECT_EQ(get(), "|");
        EXPECT_EQ(left("arguments"), "-b -o\n");
        EXPECT_EQ(left("read"), "all\n");
    }
}

TEST_F(Clipboard, AFailureIsToldInTheWordsOfTheLastError)
{
    const std::string writing = "Writing to clipboard failed: ";
    const std::string fetching = "Fetching clipboard text failed: ";
    for (const char* tool : {"", "exit 3", "echo some text; exit 3", "kill $$"}) {
        SCOPED_TRACE(tool);
        if (*tool != '\0') // else there is none
            install(tool);
        errno = EXDEV; // whatever it was
        EXPECT_EQ(set({}), writing + std::strerror(EXDEV));
        errno = EXDEV;
        EXPECT_EQ(get(), '|' + fetching + std::strerror(EXDEV));
        EXPECT_EQ(set(QStringLiteral("some text")).rfind(writing, 0), 0U);
    }
}

TEST_F(Clipboard, AToolThatTakesNothingDoesNoHarm)
{
    install("exec <&-; exit 3");
    EXPECT_EQ(set(megabyte), std::string("Writing to clipboard failed: ") + std::strerror(EPIPE));
}

TEST(ClipboardOfTheDisplay, HasTheTextForOtherClients)
{
    if (QStandardPaths::findExecutable(QStringLiteral("xsel")).isEmpty())
        GTEST_SKIP() << "xsel is not installed";
    const XServer server;
    const Variable display("DISPLAY", server.displayName().c_str());
    PureSession session(server);
    pasted(server); // xsel serves UTF-8 only where a client has asked for it before, as on any desktop
    for (const char* characters : {"plain", "Grüße, ű и 🙂\n"}) {
        EXPECT_EQ(text(session->setClipboardText(QString::fromUtf8(characters))), "");
        // The tool takes the selection over in the background.
        EXPECT_TRUE(waitFor([&, expected = characters] { return pasted(server) == expected; })) << characters;
    }
}
