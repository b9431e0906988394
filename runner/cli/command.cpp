#include "command.h"

#include <similar.h>

#include "arguments.h"
#include "commands/commands.h"
#include "failure.h"
#include "help.h"
#include "output.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

class TextCommand : public Command
{
public:
    TextCommand(const QString& text, const QJsonObject& object)
        : m_text(text)
        , m_object(object.isEmpty() ? QJsonObject {{QStringLiteral("text"), text}} : object)
    {
    }

    void declare(Arguments&) override { }

    void run(Session& session) const override { session.output().result(m_text, m_object); }

private:
    QString m_text;
    QJsonObject m_object;
};

/// The command with this name; null when there is none.
const CommandInfo* findCommand(const QString& name)
{
    for (const CommandGroup& group : commandGroups()) {
        for (const CommandInfo& info : group) {
            if (name == QLatin1String(info.name))
                return &info;
        }
    }
    return nullptr;
}

QStringList commandNames()
{
    QStringList names;
    for (const CommandGroup& group : commandGroups()) {
        for (const CommandInfo& info : group)
            names.append(QLatin1String(info.name));
    }
    return names;
}

Failure unknownCommand(const QString& name)
{
    const QString similar = mostSimilar(name, commandNames());
    const QString hint = similar.isEmpty() ? QStringLiteral("'zendra --help' lists all commands")
                                           : QStringLiteral("did you mean '%1'?").arg(similar);
    return usageFailure(QStringLiteral("Unknown command '%1'; %2").arg(name, hint));
}

} // namespace

CommandPointer parseCommand(const QStringList& words)
{
    const CommandInfo* info = findCommand(words.first());
    if (info == nullptr)
        throw unknownCommand(words.first());
    CommandPointer command = info->make();
    Arguments arguments(words.first());
    command->declare(arguments);
    if (!arguments.parse(words.mid(1)))
        return textCommand(commandHelp(*info, arguments));
    command->check();
    return command;
}

QStringList suggestCommandWords(const QStringList& words, const std::optional<QString>& display)
{
    if (words.size() == 1)
        return withPrefix(words.first(), commandNames());
    const CommandInfo* info = findCommand(words.first());
    if (info == nullptr)
        return {};
    const CommandPointer command = info->make();
    Arguments arguments(words.first());
    command->declare(arguments);
    return arguments.suggestions(words.mid(1), display);
}

CommandPointer textCommand(const QString& text, const QJsonObject& object)
{
    return std::make_unique<TextCommand>(text, object);
}

} // namespace Zendra::Runner
