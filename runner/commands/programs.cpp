// Commands for scripts: programs that they start, shell commands, and headings.

#include <memory>

#include <poll.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "commands.h"
#include "process/program.h"
#include "process/sessionbus.h"
#include "programstart.h"
#include "remote/remoteplatform.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

class Start : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.flag("--hook", m_hasHook, "load the hook; the commands that follow act in the program");
        arguments.texts("-- PROGRAM...", m_words, "the program and its arguments", Completion::FileName);
    }

    void check() override
    {
        if (m_words.first().isEmpty())
            throw usageFailure(QStringLiteral("'start' needs the name of a program"));
    }

    void run(Session& session) const override
    {
        const QByteArray preload = m_hasHook ? preloadLibrary() : QByteArray();
        session.openDisplay();
        StartedPrograms& programs = session.programs();
        if (!programs.hasAny())
            session.awaitWindowManager(); // openbox may not show a window that is mapped while it starts
        std::unique_ptr<SessionBus> bus = programs.hasAny() ? nullptr : openSessionBus(session);
        if (bus)
            use(*bus, session);
        // Ends the bus, too, since it is the last program to end.
        Program& program = programs.add(std::make_unique<Program>(m_words, preload, std::move(bus)));
        if (!m_hasHook)
            return;
        std::unique_ptr<RemotePlatform> platform = reachProgram(session, program);
        session.attach(std::move(platform));
    }

private:
    /// For the programs that are started later, and for what finds elements.
    static void use(const SessionBus& bus, const Session& session)
    {
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address());
        const QByteArray accessibilityAddress = bus.accessibilityAddress();
        if (!accessibilityAddress.isEmpty())
            qputenv("AT_SPI_BUS_ADDRESS", accessibilityAddress);
        if (session.isHeadless())
            publishAccessibilityBus(session, bus);
    }

    bool m_hasHook = false;
    QStringList m_words;
};

class Exec : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("COMMAND", m_command, "a command line for /bin/sh");
    }

    void run(Session& session) const override
    {
        session.openDisplay();
        session.output().flush();
        const QStringList words {
            QStringLiteral("/bin/sh"), QStringLiteral("-c"), QStringLiteral("exec </dev/null\n") + m_command};
        // What it leaves in the background ends with the script.
        Program& shell
            = session.programs().addUnwatched(std::make_unique<Program>(words, QByteArray(), nullptr));
        constexpr int interval = 5;
        while (!shell.hasEnded()) {
            pollfd interrupted = {session.interruptionFileDescriptor(), POLLIN, 0};
            poll(&interrupted, 1, interval);
            session.requireNotInterrupted();
        }
        if (shell.hasFailed())
            throw operationFailure(QStringLiteral("'%1' %2").arg(m_command, shell.endText()));
    }

private:
    QString m_command;
};

class Step : public Command
{
public:
    ApplicationEnd applicationEnd() const override { return ApplicationEnd::Expected; }

    void declare(Arguments& arguments) override
    {
        arguments.text("TITLE", m_title, "what the lines that follow do");
    }

    void run(Session& session) const override
    {
        session.beginChapter(m_title);
        session.output().result(m_title, {{QStringLiteral("step"), m_title}});
        session.output().flush();
    }

private:
    QString m_title;
};

class Chapter : public Command
{
public:
    ApplicationEnd applicationEnd() const override { return ApplicationEnd::Expected; }

    void declare(Arguments& arguments) override
    {
        arguments.text("TITLE", m_title, "the title of the chapter");
    }

    void run(Session& session) const override { session.beginChapter(m_title); }

private:
    QString m_title;
};

constexpr CommandInfo commands[] = {
    {"start", "starts a program for the rest of a script",
        "It has the display, a session bus and an accessibility bus, and is ended with the script. A crash of the\n"
        "program fails the script. The command does not wait for a window; those that follow do. In a script, -- may be\n"
        "left out.",
        "zendra start kcalc\n"
        "zendra start --hook -- ./browser --private",
        makeCommand<Start>},
    {"exec", "runs a shell command in a script, and fails unless its status is 0", "",
        "zendra exec 'rm -f saved.txt'\n"
        "zendra exec 'test ! -e saved.txt'",
        makeCommand<Exec>},
    {"step", "prints a heading for the lines of a script that follow",
        "It also begins a chapter of the script's recording, as 'chapter' does.", "zendra step 'Log in'",
        makeCommand<Step>},
    {"chapter", "begins a chapter of a script's recording",
        "Players show the chapters of .mp4 and .mkv movies and jump to them. It does nothing without a recording.",
        "zendra chapter 'Log in'", makeCommand<Chapter>},
};

} // namespace

CommandGroup programCommands()
{
    return makeGroup("Programs of a script", commands);
}

} // namespace Zendra::Runner
