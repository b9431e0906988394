// Commands that start and list applications with the hook.

#include "commands.h"

#include <algorithm>

#include <poll.h>

#include <QElapsedTimer>
#include <QJsonObject>

#include "cli/arguments.h"
#include "cli/commandline.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "process/program.h"
#include "process/sessionbus.h"
#include "programstart.h"
#include "recording/recordingthread.h"
#include "recording/report.h"
#include "recordingoptions.h"
#include "remote/applications.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

constexpr int listTimeout = 1000;  ///< milliseconds
constexpr int pollInterval = 10;   ///< milliseconds
constexpr int lastFrameDelay = 80; ///< milliseconds until the last action is in a recording
constexpr int closeTimeout = 250;  ///< milliseconds for a program to end after a last line that closes it
constexpr int endTimeout = 1000;   ///< milliseconds for a process to end after its connection was closed

QJsonObject toObject(const ApplicationInfo& application)
{
    QJsonObject object {
        {QStringLiteral("pid"), application.processId}, {QStringLiteral("name"), application.name}};
    object.insert(QStringLiteral("answers"), !application.variant.isEmpty());
    if (!application.variant.isEmpty()) {
        object.insert(QStringLiteral("variant"), application.variant);
        object.insert(QStringLiteral("display"), application.display);
    }
    return object;
}

class Apps : public Command
{
public:
    void declare(Arguments&) override { }

    void run(Session& session) const override
    {
        const std::vector<ApplicationInfo> applications = findApplications(listTimeout);
        int width = 0;
        for (const ApplicationInfo& application : applications)
            width = std::max<int>(width, onOneLine(application.name).size());
        for (const ApplicationInfo& application : applications)
            session.output().result(line(application, width), toObject(application));
    }

private:
    static QString line(const ApplicationInfo& application, int width)
    {
        const QString state = application.variant.isEmpty()
            ? QStringLiteral("does not answer")
            : application.variant.leftJustified(6) + application.display;
        return QStringLiteral("%1  %2  %3")
            .arg(QString::number(application.processId).leftJustified(7),
                onOneLine(application.name).leftJustified(width), onOneLine(state));
    }
};

class Run : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.texts("-- PROGRAM...", m_words, "the program and its arguments", Completion::FileName);
        arguments.text("--script FILE", m_scriptName,
            "run this script in the program, then terminate the program", Completion::FileName);
        m_recording.declare(arguments, "record the screen into a .mp4, .mkv or .zrle file");
        arguments.flagWithValue(
            "--headless[=WxHxD]", m_headless, "start an X server for the program (default 1280x1024x24)");
    }

    void check() override
    {
        m_recording.check();
        if (!m_scriptName.isEmpty())
            m_script
                = parseCommand(QStringList {QStringLiteral("script"), QStringLiteral("--"), m_scriptName});
        if (m_words.first().isEmpty())
            throw usageFailure(QStringLiteral("'run' needs the name of a program"));
    }

    void adjust(Options& options) const override
    {
        if (options.app)
            throw usageFailure(QStringLiteral("'run' cannot be combined with --app"));
        if (m_headless && options.display)
            throw usageFailure(QStringLiteral("--display and --headless cannot be combined"));
        if (m_headless)
            options.headless = toScreenSize(*m_headless);
    }

    bool needsGuiApplication() const override { return m_script && m_script->needsGuiApplication(); }
    bool needsFonts() const override { return m_recording.needsFonts(); }

    void run(Session& session) const override
    {
        const QByteArray preload = preloadLibrary();
        std::unique_ptr<SessionBus> bus = openSessionBus(session);
        session.openDisplay();
        std::optional<RecordingThread> recording;
        if (m_recording.isGiven())
            recording.emplace(session.displayName(), m_recording.settings()).begin(session);
        if (bus && session.isHeadless())
            publishAccessibilityBus(session, *bus);
        Program program(m_words, preload, std::move(bus));
        std::unique_ptr<RemotePlatform> platform = reachProgram(session, program);
        session.awaitWindowManager();
        const ApplicationInfo application = platform->application();
        program.setApplication(static_cast<pid_t>(application.processId));
        if (m_script) {
            session.attach(std::move(platform));
            runScript(session, program);
        } else {
            platform.reset();
            session.output().resultForPrograms(toObject(application));
            session.output().flush();
            session.setExitStatus(waitForEnd(session, program, application.processId));
        }
        if (recording) {
            QThread::msleep(lastFrameDelay);
            reportRecording(session.output(), m_recording.settings().fileName, recording->end());
        }
    }

private:
    void runScript(Session& session, Program& program) const
    {
        try {
            session.run(*m_script);
            session.detach();
            waitForEnd(program, closeTimeout);
            requireGoodEnd(program);
        } catch (Failure& failure) {
            session.detach();
            if (failure.status() != ExitStatus::ConnectionLost)
                throw;
            judgeLoss(failure, program);
        }
    }

    static bool waitForEnd(Program& program, int milliseconds)
    {
        QElapsedTimer timer;
        timer.start();
        while (!program.hasEnded() && timer.elapsed() < milliseconds)
            poll(nullptr, 0, 1);
        return program.hasEnded();
    }

    /// Throws if the program ended by itself during the script, and not with status 0.
    static void requireGoodEnd(Program& program)
    {
        if (program.hasFailed())
            throw operationFailure(QStringLiteral("'%1' %2").arg(program.name(), program.endText()));
    }

    /// The last line of a script may close the program, which must end with status 0.
    static void judgeLoss(const Failure& failure, Program& program)
    {
        if (!waitForEnd(program, endTimeout))
            throw Failure(failure);
        if (failure.place().isLast && failure.isApplicationEnd()) {
            requireGoodEnd(program);
            return;
        }
        Failure explained(ExitStatus::ConnectionLost,
            QStringLiteral("%1: '%2' %3").arg(failure.text(), program.name(), program.endText()));
        explained.setPlace(failure.place());
        throw Failure(explained);
    }

    /// Waits for the program, and for the application if it is another process. Returns the exit status.
    static int waitForEnd(Session& session, Program& program, qint64 application)
    {
        const auto isRunning = [&program, application] {
            if (!program.hasEnded())
                return true;
            const std::vector<pid_t> processes = program.processes();
            return std::find(processes.begin(), processes.end(), application) != processes.end();
        };
        while (isRunning()) {
            pollfd interrupted = {session.interruptionFileDescriptor(), POLLIN, 0};
            if (poll(&interrupted, 1, pollInterval) > 0)
                program.end();
        }
        return program.exitStatus();
    }

    QStringList m_words;
    QString m_scriptName;
    RecordingOptions m_recording;
    std::optional<QString> m_headless;
    CommandPointer m_script;
};

constexpr CommandInfo commands[] = {
    {"apps", "lists the applications that --app can reach, with process id, name, variant and display",
        "They were started by 'zendra run'. One that does not reply within a second is busy or stopped.",
        "zendra apps\n"
        "zendra --json apps",
        makeCommand<Apps>},
    {"run", "starts a program with the hook loaded, so that --app and scripts can reach it",
        "With a script, the program is terminated after it, and the exit status is the script's. Otherwise it is the\n"
        "program's, or 128 plus the number of the signal that killed it. Ctrl+C ends both.",
        "zendra run -- xterm -geometry 80x24\n"
        "zendra run --headless --script login.zs -- ./browser --private",
        makeCommand<Run>},
};

} // namespace

CommandGroup applicationCommands()
{
    return makeGroup("Applications", commands);
}

} // namespace Zendra::Runner
