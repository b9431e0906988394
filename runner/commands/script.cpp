// The commands 'script' and 'wait'.

#include <algorithm>
#include <optional>
#include <vector>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/shellwords.h"
#include "cli/standardinput.h"
#include "cli/utf8.h"
#include "commands.h"
#include "recording/recordingfile.h"
#include "recording/recordingthread.h"
#include "recording/report.h"
#include "session/session.h"
#include "x11/threads.h"

namespace Zendra::Runner
{

namespace
{

/// The lines of a text file with the line ends of any system.
QList<QByteArray> splitLines(QByteArray content)
{
    const QByteArray byteOrderMark("\xef\xbb\xbf");
    if (content.startsWith(byteOrderMark))
        content.remove(0, byteOrderMark.size());
    return content.replace("\r\n", "\n").split('\n');
}

/// The command on a line; null for a line without words.
CommandPointer makeLineCommand(const QStringList& words)
{
    if (words.isEmpty())
        return nullptr;
    if (words.first() == QLatin1String("script"))
        throw usageFailure(QStringLiteral("A script cannot run another script"));
    if (words.first() == QLatin1String("run"))
        throw usageFailure(
            QStringLiteral("A script cannot start a program; 'zendra run --script' starts one for a script"));
    return parseCommand(words);
}

/// Reads the commands of a script one by one. A quoted text may span lines.
class LineReader
{
public:
    explicit LineReader(const QByteArray& content)
        : m_lines(splitLines(content))
    {
    }

    bool atEnd() const { return m_next == m_lines.size(); }
    /// The line in which the next command begins.
    int number() const { return m_next + 1; }

    QStringList nextWords()
    {
        QByteArray text = m_lines.at(m_next++);
        try {
            return splitShellWords(toText(text, QStringLiteral("This line")));
        } catch (const UnclosedQuote& failure) {
            for (int next = m_next; next < m_lines.size(); ++next) {
                text += '\n' + m_lines.at(next);
                if (!m_lines.at(next).contains(static_cast<char>(failure.quote().unicode())))
                    continue;
                if (const auto words = wordsUnlessOpen(text)) {
                    m_next = next + 1;
                    return *words;
                }
            }
            throw;
        }
    }

private:
    static std::optional<QStringList> wordsUnlessOpen(const QByteArray& text)
    {
        try {
            return splitShellWords(toText(text, QStringLiteral("This line")));
        } catch (const UnclosedQuote&) {
            return std::nullopt;
        }
    }

    const QList<QByteArray> m_lines;
    int m_next = 0;
};

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
        arguments.text("--record FILE", m_record, "record the run into a .mp4, .mkv or .zrle file",
            Completion::FileName);
    }

    void check() override
    {
        if (m_record) {
            m_settings.fileName = *m_record;
            m_settings.format = recordingFormat(*m_record, std::nullopt);
            allowThreads();
        }
        const QString name = isStandardInput(m_fileName) ? QStringLiteral("standard input") : m_fileName;
        LineReader reader(readFile(m_fileName, QStringLiteral("the script")));
        std::vector<Failure> failures;
        while (!reader.atEnd()) {
            ScriptPlace place {name, reader.number(), {}};
            try {
                const QStringList words = reader.nextWords();
                place.command = words.value(0);
                if (CommandPointer command = makeLineCommand(words))
                    m_lines.push_back({place, std::move(command)});
            } catch (Failure& failure) {
                failure.setPlace(place);
                failures.push_back(failure);
            }
        }
        throwAll(std::move(failures));
        if (!m_lines.empty())
            m_lines.back().place.isLast = true;
    }

    bool needsGuiApplication() const override
    {
        return std::any_of(m_lines.begin(), m_lines.end(),
            [](const Line& line) { return line.command->needsGuiApplication(); });
    }

    void run(Session& session) const override
    {
        if (!m_record) {
            runLines(session);
            return;
        }
        // Opens the display, which --headless creates.
        session.platform();
        RecordingThread recording(session.displayName(), m_settings);
        recording.begin(session);
        try {
            runLines(session);
        } catch (const Failure&) {
            awaitLastFrame();
            throw;
        }
        awaitLastFrame();
        reportRecording(session.output(), *m_record, recording.end());
    }

private:
    struct Line {
        ScriptPlace place;
        CommandPointer command;
    };

    /// Throws the failures of a script, limited in number.
    static void throwAll(std::vector<Failure> failures)
    {
        constexpr std::size_t most = 20;
        if (failures.empty())
            return;
        Failure last = failures.back();
        if (failures.size() > most) {
            last = usageFailure(QStringLiteral("%1 more lines are wrong").arg(failures.size() - most));
            failures.resize(most + 1, last);
        }
        failures.pop_back();
        last.setEarlier(std::move(failures));
        throw Failure(last);
    }

    /// Waits until the effect of the last line is in the recording.
    void awaitLastFrame() const { QThread::msleep(static_cast<unsigned long>(2 * 1000 / m_settings.fps)); }

    void runLines(Session& session) const
    {
        session.watchLayout();
        for (const Line& line : m_lines)
            atPlace(line.place, [&] { line.command->checkKeyboard(session); });
        for (const Line& line : m_lines) {
            session.setPlace(line.place);
            try {
                atPlace(line.place, [&session, &line] {
                    session.requireNotInterrupted();
                    session.run(*line.command);
                });
            } catch (const Failure&) {
                // The rest of the script would have released them.
                session.releaseHeldDown();
                throw;
            }
        }
        if (!m_lines.empty())
            atPlace(m_lines.back().place, [&session] { session.finish(); });
        session.setPlace({});
    }

    QString m_fileName;
    std::optional<QString> m_record;
    RecordingSettings m_settings;
    std::vector<Line> m_lines;
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
        "--record records the run, even if it fails.",
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
