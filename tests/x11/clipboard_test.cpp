// The clipboard of the pure variant: the calls of the external tool, and its failures.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include <QFile>
#include <QTemporaryDir>

#include "puresession.h"

using namespace Zendra;
using namespace Zendra::Tests;

namespace
{

/// A clipboard tool of the test's own is the only program on the path; at first there is none.
class Clipboard : public ::testing::Test
{
protected:
    Clipboard() { qputenv("PATH", m_folder.path().toLocal8Bit()); }
    ~Clipboard() override { qputenv("PATH", m_path); }

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
    QByteArray m_path = qgetenv("PATH");
    PureSession m_session {server};
};

} // namespace

TEST_F(Clipboard, IsReadButNeverReturned)
{
    for (const char* output : {"/bin/echo some text", "/usr/bin/head -c 1000000 /dev/zero"}) {
        install((std::string("echo \"$@\" >$here/arguments; ") + output + "; echo all >$here/read").c_str());
        EXPECT_EQ(get(), "|");
        EXPECT_EQ(left("arguments"), "-b -o\n");
        EXPECT_EQ(left("read"), "all\n");
    }
}

TEST_F(Clipboard, AFailureHasTheTextOfTheLastError)
{
    const std::string writing = "Writing to clipboard failed: ";
    const std::string fetching = "Fetching clipboard text failed: ";
    for (const char* tool : {"", "echo some text; exit 3"}) {
        SCOPED_TRACE(tool);
        if (*tool != '\0') // else there is none
            install(tool);
        errno = EXDEV; // whatever it was
        EXPECT_EQ(set({}), writing + std::strerror(EXDEV));
        errno = EXDEV;
        EXPECT_EQ(get(), '|' + fetching + std::strerror(EXDEV));
    }
}
