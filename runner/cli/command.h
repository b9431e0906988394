#pragma once

#include <memory>

#include <QString>
#include <QStringList>

namespace Zendra::Runner
{

class Arguments;
class Session;
struct Options;

/// What it means that the application ends while a command runs, as the last line of a script for it.
enum class ApplicationEnd {
    Failure,
    Effect,  ///< what the command did may have closed it
    Expected ///< nothing more is wanted of it
};

/// One command with its arguments, ready to run.
///
/// It is declared, read and checked before a display is opened, and works only through the session's platform
/// plug-in, so it neither knows nor cares where that one runs.
class Command
{
public:
    Command() = default;
    virtual ~Command() = default;

    virtual void declare(Arguments& arguments) = 0;
    /// Throws a Failure for arguments that are wrong together, or that need more than reading to be judged.
    virtual void check() { }
    /// What it asks of the place where it runs. Throws a Failure for options that do not go with it.
    virtual void adjust(Options&) const { }
    /// Whether it uses Session::guiNative(), for which Qt must know the display from the start.
    virtual bool needsGuiApplication() const { return false; }
    /// Looks at the keyboard, and throws where it cannot do what the command needs. A script does so for all
    /// its lines before the first one runs.
    virtual void checkKeyboard(Session&) const { }
    /// How long it takes at the most, in milliseconds; negative where that is not known beforehand.
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

/// What there is to know about a command before it is made.
struct CommandInfo {
    const char* name;
    const char* summary;
    const char* details;  ///< what else a user must know, in lines; may be empty
    const char* examples; ///< complete calls, one a line
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

/// Makes the command that the words name, with its arguments read and checked.
///
/// The command line and every line of a script go through here. Throws a Failure of status WrongUsage.
CommandPointer parseCommand(const QStringList& words);

/// What a shell may suggest for the last of the words that begin with a command's name: the name itself, or
/// an argument of the command.
QStringList suggestCommandWords(const QStringList& words);

/// A command that prints a text.
CommandPointer textCommand(const QString& text);

} // namespace Zendra::Runner
