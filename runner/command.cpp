#include "command.h"

#include <QJsonObject>

#include "arguments.h"
#include "commands/commands.h"
#include "failure.h"
#include "help.h"
#include "output.h"
#include "session.h"
#include "similar.h"

namespace Zendra::Runner
{

namespace
{

class TextCommand : public Command
{
public:
    explicit TextCommand(const QString& text)
        : m_text(text)
    {
    }

    void declare(Arguments&) override { }

    void run(Session& session) const override
    {
        session.output().result(m_text, {{QStringLiteral("text"), m_text}});
    }

private:
    QString m_text;
};

const CommandInfo& findCommand(const QString& name)
{
    QStringList names;
    for (const CommandGroup& group : commandGroups()) {
        for (const CommandInfo& info : group) {
            if (name == QLatin1String(info.name))
                return info;
            names.append(QLatin1String(info.name));
        }
    }
    const QString similar = mostSimilar(name, names);
    const QString hint = similar.isEmpty() ? QStringLiteral("'zendra --help' lists all commands")
                                           : QStringLiteral("did you mean '%1'?").arg(similar);
    throw usageFailure(QStringLiteral("Unknown command '%1'; %2").arg(name, hint));
}

} // namespace

CommandPointer parseCommand(const QStringList& words)
{
    const CommandInfo& info = findCommand(words.first());
    CommandPointer command = info.make();
    Arguments arguments(words.first());
    command->declare(arguments);
    if (!arguments.parse(words.mid(1)))
        return textCommand(commandHelp(info, arguments));
    command->check();
    return command;
}

CommandPointer textCommand(const QString& text)
{
    return std::make_unique<TextCommand>(text);
}

} // namespace Zendra::Runner
