#include "commandline.h"

#include <algorithm>

#include "arguments.h"
#include "failure.h"
#include "help.h"
#include "manualpage.h"
#include "version.h"

namespace Zendra::Runner
{

namespace
{

/// The options before the command.
struct ProgramWords {
    explicit ProgramWords(Options& options)
    {
        arguments.flag("--json", options.json, "print results and errors as one JSON object per line");
        arguments.text("--display NAME", options.display, "the X display, such as :0; by default $DISPLAY");
        arguments.flagWithValue(
            "--headless[=WxHxD]", headless, "start an X server for the command (default 1280x1024x24)");
        arguments.text("--app PID|ADDRESS", options.app, "act in this application; 'zendra apps' lists them",
            Completion::ProcessId);
        arguments.text("--platform FILE", options.platform,
            "use this platform plug-in; by default $ZENDRA_PLATFORM, or that for X11", Completion::FileName);
        arguments.flag("--version", version, "print the version; with --json what it was built with");
    }

    std::optional<QString> headless;
    bool version = false;
    Arguments arguments {QString()};
};

/// The display whose windows are completed; none with --headless or --app, or a platform of another kind.
std::optional<QString> completionDisplay(const QStringList& words)
{
    Options options;
    ProgramWords program(options);
    QStringList rest;
    try {
        program.arguments.parseOptions(words, rest);
    } catch (const Failure&) {
        return {};
    }
    if (program.headless || options.app || options.platform)
        return {};
    return options.display ? *options.display : QString();
}

/// Completions for the last of the words.
QStringList suggestions(const QStringList& words)
{
    Options options;
    const ProgramWords program(options);
    const int command = program.arguments.firstPlainWord(words);
    if (command < 0)
        return program.arguments.suggestions(words, {});
    return suggestCommandWords(words.mid(command), completionDisplay(words.mid(0, command)));
}

/// Checks the options that say where a command acts.
void requireOnePlace(const Options& options, bool headless)
{
    if (options.display && headless)
        throw usageFailure(QStringLiteral("--display and --headless cannot be combined"));
    if (options.app && (options.display || headless)) {
        throw usageFailure(QStringLiteral("--app cannot be combined with --display or --headless"));
    }
    if (options.platform && options.platform->isEmpty())
        throw usageFailure(QStringLiteral("--platform needs a file, such as ./libecho.so"));
    if (options.app && options.platform)
        throw usageFailure(QStringLiteral("--platform cannot be combined with --app"));
    if (!options.app)
        return;
    const bool isNumber = !options.app->isEmpty()
        && std::all_of(options.app->begin(), options.app->end(),
            [](QChar character) { return character >= QLatin1Char('0') && character <= QLatin1Char('9'); });
    if (!isNumber && !options.app->contains(QLatin1Char(':'))) {
        throw usageFailure(QStringLiteral("--app needs a process id, as 'zendra apps' lists them, or a D-Bus "
                                          "address such as unix:path=/tmp/socket, not '%1'")
                               .arg(*options.app));
    }
}

/// 'help' and 'help COMMAND' print what --help prints.
CommandPointer helpCommand(const QStringList& words, const ProgramWords& program)
{
    if (words.size() > 1)
        throw usageFailure(QStringLiteral("'help' takes the name of one command"));
    if (words.isEmpty())
        return textCommand(programHelp(program.arguments));
    return parseCommand({words.first(), QStringLiteral("--help")});
}

} // namespace

ScreenSize toScreenSize(const QString& text)
{
    ScreenSize size;
    if (text.isEmpty())
        return size;
    const QStringList numbers = text.split(QLatin1Char('x'));
    if (numbers.size() != 2 && numbers.size() != 3) {
        throw usageFailure(
            QStringLiteral("The screen size '%1' is not written as WxHxD, such as 1280x1024x24").arg(text));
    }
    size.width = toNumber(numbers.at(0), {16, 16384}, QStringLiteral("The width of the screen"));
    size.height = toNumber(numbers.at(1), {16, 16384}, QStringLiteral("The height of the screen"));
    if (numbers.size() == 3)
        size.depth = toNumber(numbers.at(2), {1, 32}, QStringLiteral("The depth of the screen"));
    return size;
}

CommandPointer parseCommandLine(const QStringList& words, Options& options)
{
    if (words.size() > 1 && words.first() == QLatin1String("--complete"))
        return textCommand(suggestions(words.mid(1)).join(QLatin1Char('\n')));

    ProgramWords program(options);
    if (words == QStringList {QStringLiteral("--manual-page")})
        return textCommand(manualPage(program.arguments));
    QStringList rest;
    if (!program.arguments.parseOptions(words, rest))
        return textCommand(programHelp(program.arguments));
    if (program.version)
        return textCommand(QStringLiteral("zendra " ZENDRA_VERSION), versionDetails());
    requireOnePlace(options, program.headless.has_value());
    if (!options.platform && !options.app && !qEnvironmentVariableIsEmpty("ZENDRA_PLATFORM"))
        options.platform = qEnvironmentVariable("ZENDRA_PLATFORM");
    if (options.display && options.display->isEmpty())
        throw usageFailure(QStringLiteral("--display needs the name of a display, such as :0"));
    if (program.headless)
        options.headless = toScreenSize(*program.headless);
    if (rest.isEmpty())
        throw usageFailure(
            QStringLiteral("No command is given; try \"zendra keys 'hello'\" or 'zendra --help'"));
    if (rest.first() == QLatin1String("help"))
        return helpCommand(rest.mid(1), program);
    CommandPointer command = parseCommand(rest);
    command->adjust(options);
    return command;
}

} // namespace Zendra::Runner
