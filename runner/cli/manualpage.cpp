#include "manualpage.h"

#include <QStringList>

#include <zendra/keynames.h>

#include "arguments.h"
#include "commands/commands.h"
#include "help.h"

namespace Zendra::Runner
{

namespace
{

/// A line of text for roff, whose escapes begin with a backslash, and whose requests with a dot or quote.
QString escaped(const QString& text)
{
    QString line;
    for (const uint character : text.toUcs4()) {
        if (character == '\\')
            line += QLatin1String("\\e");
        else if (character == '-')
            line += QLatin1String("\\-");
        else if (character == '\'')
            line += QLatin1String("\\(aq");
        else if (character == '^' || character == '~' || character == '`')
            line += QStringLiteral("\\(%1").arg(QLatin1String(character == '^' ? "ha"
                    : character == '~'                                         ? "ti"
                                                                               : "ga"));
        else if (character < 0x80)
            line += QChar(character);
        else
            line += QStringLiteral("\\[u%1]")
                        .arg(character, 4, 16, QLatin1Char('0'))
                        .toUpper()
                        .replace(QLatin1String("[U"), QLatin1String("[u"));
    }
    return line.startsWith(QLatin1Char('.')) ? QLatin1String("\\&") + line : line;
}

QString heading(const char* macro, const QString& title)
{
    return QStringLiteral(".%1 \"%2\"\n")
        .arg(QLatin1String(macro), escaped(title).replace(QLatin1Char('"'), QLatin1String("\\(dq")));
}

QString entry(const QString& term, const QString& text)
{
    return QStringLiteral(".TP\n\\fB%1\\fR\n%2\n").arg(escaped(term), escaped(text));
}

/// Lines that stay as they are.
QString verbatim(const QString& lines)
{
    QString text = QStringLiteral(".PP\n.nf\n.RS 4\n");
    for (const QString& line : lines.split(QLatin1Char('\n')))
        text += escaped(line) + QLatin1Char('\n');
    return text + QLatin1String(".RE\n.fi\n");
}

QString argumentEntries(const Arguments& arguments)
{
    QString text;
    for (const auto& [name, help] : arguments.descriptions())
        text += entry(name, help);
    return text;
}

QString commandSection(const CommandInfo& info)
{
    const CommandPointer command = info.make();
    Arguments arguments(QLatin1String(info.name));
    command->declare(arguments);
    QString text = heading("SS", QLatin1String(info.name));
    text += QStringLiteral("\\fBzendra %1\\fR %2\n")
                .arg(escaped(QLatin1String(info.name)), escaped(arguments.usage()));
    const QString summary = QString::fromUtf8(info.summary);
    text += QStringLiteral(".PP\n%1%2.\n").arg(summary.at(0).toUpper(), escaped(summary.mid(1)));
    for (const QString& line : QString::fromUtf8(info.details).split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        text += (line.startsWith(QLatin1Char(' ')) ? QStringLiteral(".br\n") : QString())
            + escaped(line.trimmed()) + QLatin1Char('\n');
    return text + argumentEntries(arguments) + verbatim(QString::fromUtf8(info.examples));
}

} // namespace

QString manualPage(const Arguments& options)
{
    QString text = QStringLiteral(".TH ZENDRA 1 \"\" \"zendra " ZENDRA_VERSION "\" \"User Commands\"\n");
    text += QStringLiteral(".nh\n.ad l\n.SH NAME\nzendra \\- %1\n")
                .arg(escaped(QString::fromUtf8(programSummary)));
    text += QStringLiteral(".SH SYNOPSIS\n\\fBzendra\\fR [OPTIONS] COMMAND [ARGUMENTS]\n.SH OPTIONS\n");
    text += argumentEntries(options);
    for (const CommandGroup& group : commandGroups()) {
        if (group.first == group.last)
            continue;
        text += heading("SH", QString::fromUtf8(group.title).toUpper());
        for (const CommandInfo& info : group)
            text += commandSection(info);
    }
    text += QLatin1String(".SH EXIT STATUS\n");
    for (const HelpEntry& status : exitStatuses)
        text += entry(QLatin1String(status.term), QLatin1String(status.text));
    text += QStringLiteral(".PP\n%1\n.SH ENVIRONMENT\n").arg(escaped(QLatin1String(errorFormat)));
    for (const HelpEntry& variable : environmentVariables)
        text += entry(QLatin1String(variable.term), QLatin1String(variable.text));
    text += QStringLiteral(".SH KEY NAMES\n%1\n.PP\n%2\n")
                .arg(escaped(QLatin1String(keyNameRule)), escaped(keyNames().join(QLatin1Char(' '))));
    return text
        + QLatin1String(".SH SEE ALSO\n.BR zendra\\-script (5),\n.BR zrle (5),\n.BR org.zendra.Hook1 (7)");
}

} // namespace Zendra::Runner
