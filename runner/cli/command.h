#pragma once

#include <memory>
#include <optional>

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace Zendra::Runner
{

class Arguments;
class Session;
struct Options;

/// How the end of the application during a command, as the last line of a script, is treated.
enum class ApplicationEnd {
    Failure,
    Effect,  ///< the command may have closed it
    Expected ///< the application is not needed any more
};

/// One command with its arguments, ready to run.
/// It is declared, read and checked before a display is opened. It uses only the platform plug-in of the
/// session, which may be in an application.
class Command
{
public:
    Command() = default;
    virtual ~Command() = default;

    virtual void declare(Arguments& arguments) = 0;
    /// Throws a Failure for arguments that cannot be combined or are otherwise wrong.
    virtual void check() { }
    /// Changes the options of the program. Throws a Failure for those that the command excludes.
    virtual void adjust(Options&) const { }
    /// Whether it uses Session::guiNative(), for which Qt must know the display from the start.
    virtual bool needsGuiApplication() const { return false; }
    /// Whether it draws text, for which Qt needs an object of its GUI application.
    virtual bool needsFonts() const { return false; }
    /// Throws when the keyboard lacks a key that the command needs. A script checks all its lines before the
    /// first one runs.
    virtual void checkKeyboard(Session&) const { }
    /// The longest time that it takes, in milliseconds; negative if unknown.
    virtual int longestTime() const { return -1; }
    virtual ApplicationEnd applicationEnd() const { return ApplicationEnd::Failure; }
    virtual void run(Session& session) const = 0;

private:
    Q_DISABLE_COPY(Command)
};

/// A command that sends input.
class InputCommand : public Command
{
public:
    ApplicationEnd applicationEnd() const override { return ApplicationEnd::Effect; }
};

using CommandPointer = std::unique_ptr<Command>;

/// Describes a command, and makes it.
struct CommandInfo {
    const char* name;
    const char* summary;
    const char* details;  ///< lines for its help; may be empty
    const char* examples; ///< command lines, one per line
    CommandPointer (*make)();
};

/// A group of commands with its heading.
struct CommandGroup {
    const char* title;
    const CommandInfo* first;
    const CommandInfo* last; ///< one past the last

    const CommandInfo* begin() const { return first; }
    const CommandInfo* end() const { return last; }
};

/// Creates the command and reads and checks its arguments.
///
/// For the command line and each line of a script. Throws a Failure of status WrongUsage.
CommandPointer parseCommand(const QStringList& words);

/// Completions for the last of the words, which begin with a command's name: of the name itself, or of an
/// argument. Titles of windows are those on `display`, if there is one.
QStringList suggestCommandWords(const QStringList& words, const std::optional<QString>& display);

/// A command that prints a text, with --json `object`, or {"text": text}.
CommandPointer textCommand(const QString& text, const QJsonObject& object = {});

} // namespace Zendra::Runner
