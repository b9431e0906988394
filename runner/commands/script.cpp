// The commands 'script' and 'wait'.

#include <algorithm>
#include <optional>
#include <vector>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "commands.h"
#include "recording/recordingthread.h"
#include "recording/report.h"
#include "recordingoptions.h"
#include "session/session.h"
#include "suite/scriptfile.h"

namespace Zendra::Runner
{

namespace
{

/// Runs `action`, and sets the place of a failure that it throws.
template <typename Action>
auto atPlace(const ScriptPlace& place, Action action)
{
    try {
        return action();
    } catch (Failure& failure) {
        failure.setPlace(place);
        throw;
    }
}

/// Runs a file of commands, one per line. All lines are checked before the first one runs.
class Script : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("FILE", m_fileName, "the script; - reads standard input", Completion::FileName);
        m_recording.declare(arguments, "record the run into a .mp4, .mkv or .zrle file");
        arguments.list("--set NAME=VALUE", m_assignments, "set a variable, which the script uses as $NAME");
        arguments.flag("--check", m_isCheck, "read and check all lines, and run none");
    }

    void check() override
    {
        m_recording.check();
        m_lines = readScript(m_fileName, Variables(m_assignments));
    }

    bool needsGuiApplication() const override
    {
        return std::any_of(m_lines.begin(), m_lines.end(),
            [](const ScriptLine& line) { return line.command->needsGuiApplication(); });
    }

    bool needsFonts() const override { return m_recording.needsFonts(); }

    void run(Session& session) const override
    {
        if (m_isCheck)
            return;
        if (!m_recording.isGiven()) {
            runAll(session);
            return;
        }
        // Opens the display, which --headless creates.
        session.platform();
        RecordingThread recording(session.displayName(), m_recording.settings());
        recording.begin(session);
        try {
            runAll(session);
        } catch (const Failure&) {
            awaitLastFrame();
            throw;
        }
        awaitLastFrame();
        reportRecording(session.output(), m_recording.settings().fileName, recording.end());
    }

private:
    /// Waits until the effect of the last line is in the recording.
    void awaitLastFrame() const
    {
        QThread::msleep(static_cast<unsigned long>(2 * 1000 / m_recording.settings().fps));
    }

    void runLines(Session& session, ScriptLine::When when) const
    {
        for (const ScriptLine& line : m_lines) {
            if (line.when != when)
                continue;
            session.setPlace(line.place);
            atPlace(line.place, [&session, &line] {
                session.requireNotInterrupted();
                try {
                    session.run(*line.command);
                } catch (const Failure& failure) {
                    throw session.programs().explained(failure);
                }
                session.programs().requireNoCrash();
            });
        }
    }

    /// The first failure decides about the exit status; those of later lines are reported before it.
    static void addFailure(std::optional<Failure>& first, const Failure& failure)
    {
        if (!first) {
            first = failure;
            return;
        }
        std::vector<Failure> earlier = first->earlier();
        earlier.push_back(failure);
        first->setEarlier(std::move(earlier));
    }

    void runAll(Session& session) const
    {
        session.watchLayout();
        for (const ScriptLine& line : m_lines)
            atPlace(line.place, [&] { line.command->checkKeyboard(session); });
        std::optional<Failure> failed;
        for (const ScriptLine::When when :
            {ScriptLine::When::InOrder, ScriptLine::When::OnFailure, ScriptLine::When::Finally}) {
            if (when == ScriptLine::When::OnFailure && !failed)
                continue;
            try {
                runLines(session, when);
            } catch (const Failure& failure) {
                // The rest of the script would have released them.
                session.releaseHeldDown();
                if (session.isInterrupted())
                    throw;
                addFailure(failed, failure);
            }
        }
        if (failed)
            throw Failure(*failed);
        if (!m_lines.empty())
            atPlace(m_lines.back().place, [&session] { session.finish(); });
        session.setPlace({});
    }

    QString m_fileName;
    RecordingOptions m_recording;
    QStringList m_assignments;
    bool m_isCheck = false;
    std::vector<ScriptLine> m_lines;
};

class Wait : public Command
{
public:
    ApplicationEnd applicationEnd() const override { return ApplicationEnd::Expected; }

    void declare(Arguments& arguments) override
    {
        arguments.number("MS", m_milliseconds, {0, 86'400'000}, "milliseconds");
    }

    void run(Session& session) const override
    {
        session.wait(m_milliseconds);
        session.requireNotInterrupted();
    }

private:
    int m_milliseconds = 0;
};

constexpr CommandInfo commands[] = {
    {"script", "runs commands from a file, one per line; - reads standard input",
        "Words are quoted as in a shell, also over several lines; # begins a comment. All lines are read and checked\n"
        "before the first one runs. The script ends at the first line that fails, with that line's exit status.\n"
        "--record records the run, even if it fails.\n"
        "In a script, 'set NAME VALUE' sets a variable, $NAME and ${NAME} stand for its value, and 'include FILE'\n"
        "reads the lines of another file. Lines that begin with 'on-failure' or 'finally' run at the end: the former\n"
        "if a line has failed, the latter always.",
        "zendra script login.zs\n"
        "zendra script --record login.mp4 login.zs\n"
        "printf 'click 200 100\\nwait-stable\\nkeys \"hello<Enter>\"\\n' | zendra script -",
        makeCommand<Script>},
    {"wait", "waits; for use in scripts", "", "zendra wait 500", makeCommand<Wait>},
};

} // namespace

CommandGroup scriptCommands()
{
    return makeGroup("Scripts", commands);
}

} // namespace Zendra::Runner
