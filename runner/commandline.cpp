#include "commandline.h"

#include "arguments.h"
#include "failure.h"
#include "help.h"

namespace Zendra::Runner
{

namespace
{

/// Reads "1280x1024x24" or "1280x1024".
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

/// What is written before the command: options, some of which need a second look.
struct ProgramWords {
    explicit ProgramWords(Options& options)
    {
        arguments.flag("--json", options.json, "print results and failures as one JSON object a line");
        arguments.text("--display NAME", options.display, "the X display, such as :0; else DISPLAY decides");
        arguments.flagWithValue("--headless[=WxHxD]", headless,
            "an X server of its own for the time of the command (1280x1024x24)");
        arguments.flag("--version", version, "print the version");
    }

    std::optional<QString> headless;
    bool version = false;
    Arguments arguments {QString()};
};

/// What a shell may suggest for the last of the words.
QStringList suggestions(const QStringList& words)
{
    Options options;
    const ProgramWords program(options);
    const int command = program.arguments.firstPlainWord(words);
    return command < 0 ? program.arguments.suggestions(words) : suggestCommandWords(words.mid(command));
}

} // namespace

CommandPointer parseCommandLine(const QStringList& words, Options& options)
{
    if (words.size() > 1 && words.first() == QLatin1String("--complete"))
        return textCommand(suggestions(words.mid(1)).join(QLatin1Char('\n')));

    ProgramWords program(options);
    QStringList rest;
    if (!program.arguments.parseOptions(words, rest))
        return textCommand(programHelp(program.arguments));
    if (program.version)
        return textCommand(QStringLiteral("zendra " ZENDRA_VERSION));
    if (options.display && program.headless)
        throw usageFailure(QStringLiteral("--display and --headless exclude each other"));
    if (options.display && options.display->isEmpty())
        throw usageFailure(QStringLiteral("--display needs the name of a display, such as :0"));
    if (program.headless)
        options.headless = toScreenSize(*program.headless);
    if (rest.isEmpty())
        throw usageFailure(
            QStringLiteral("No command is given; try \"zendra keys 'hello'\" or 'zendra --help'"));
    return parseCommand(rest);
}

} // namespace Zendra::Runner
