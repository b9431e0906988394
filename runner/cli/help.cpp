#include "help.h"

#include <QStringList>

#include <zendra/keynames.h>

#include "arguments.h"
#include "commands/commands.h"

namespace Zendra::Runner
{

namespace
{

QString indented(const QString& lines)
{
    return QLatin1String("  ") + QString(lines).replace(QLatin1Char('\n'), QLatin1String("\n  "));
}

QString call(const CommandInfo& info, const Arguments& arguments)
{
    return QStringLiteral("%1 %2").arg(QLatin1String(info.name), arguments.usage()).trimmed();
}

/// The words on lines that fit a terminal.
QString wrapped(const QStringList& words)
{
    constexpr int width = 76;
    QString lines;
    int column = 0;
    for (const QString& word : words) {
        const bool fits = column + 1 + word.size() <= width;
        if (column > 0)
            lines += fits ? QLatin1Char(' ') : QLatin1Char('\n');
        column = (column > 0 && fits ? column + 1 : 0) + word.size();
        lines += word;
    }
    return lines;
}

QString groupHelp(const CommandGroup& group)
{
    if (group.first == group.last)
        return {};
    QString text = QStringLiteral("\n%1\n").arg(QLatin1String(group.title));
    for (const CommandInfo& info : group) {
        const CommandPointer command = info.make();
        Arguments arguments(QLatin1String(info.name));
        command->declare(arguments);
        text
            += QStringLiteral("  %1\n      %2\n").arg(call(info, arguments), QString::fromUtf8(info.summary));
        const QStringList examples = QString::fromUtf8(info.examples).split(QLatin1Char('\n'));
        for (const QString& example : examples)
            text += QStringLiteral("        $ %1\n").arg(example);
    }
    return text;
}

} // namespace

QString programHelp(const Arguments& options)
{
    QString text = QStringLiteral("zendra %1\n\nUsage: zendra [OPTIONS] COMMAND [ARGUMENTS]\n\nOptions\n")
                       .arg(QLatin1String(programSummary));
    text += options.help();
    for (const CommandGroup& group : commandGroups())
        text += groupHelp(group);
    text += QLatin1String("\nExit status\n");
    for (const HelpEntry& status : exitStatuses)
        text += QStringLiteral("  %1  %2\n").arg(QLatin1String(status.term), QLatin1String(status.text));
    text += indented(wrapped(QString::fromLatin1(errorFormat).split(QLatin1Char(' '))))
        + QLatin1String("\n\nEnvironment\n");
    for (const HelpEntry& variable : environmentVariables)
        text += QStringLiteral("  %1  %2\n")
                    .arg(QLatin1String(variable.term), -15)
                    .arg(QLatin1String(variable.text));
    text += QStringLiteral("\n%1\n").arg(QLatin1String(keyNameRule));
    text += indented(wrapped(keyNames()));
    return text;
}

QString commandHelp(const CommandInfo& info, const Arguments& arguments)
{
    QString text = QStringLiteral("Usage: zendra %1\n\n'%2' %3.\n")
                       .arg(call(info, arguments), QLatin1String(info.name), QString::fromUtf8(info.summary));
    if (info.details[0] != '\0')
        text += QString::fromUtf8(info.details) + QLatin1Char('\n');
    const QString argumentHelp = arguments.help();
    if (!argumentHelp.isEmpty())
        text += QLatin1String("\nArguments\n") + argumentHelp;
    text += QLatin1String("\nExamples\n") + indented(QString::fromUtf8(info.examples));
    return text;
}

} // namespace Zendra::Runner
