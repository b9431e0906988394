#include "operation.h"

#include "agent/callerror.h"

namespace Zendra::Agent
{

const Operation* findOperation(QLatin1String name)
{
    for (const Operation* list : {keyboardOperations, pointerOperations, screenOperations}) {
        for (const Operation* operation = list; operation->name != nullptr; ++operation) {
            if (name == QLatin1String(operation->name))
                return operation;
        }
    }
    return nullptr;
}

int number(const QVariant& argument, qint64 lowest, qint64 highest, const char* what)
{
    const qint64 value = argument.toLongLong();
    if (value < lowest || value > highest) {
        throw invalidArguments(QStringLiteral("The %1 must be a number from %2 to %3, not %4")
                                   .arg(QLatin1String(what))
                                   .arg(lowest)
                                   .arg(highest)
                                   .arg(value));
    }
    return static_cast<int>(value);
}

int modifiers(const QVariant& argument)
{
    return number(argument, 0, ShiftModifier | ControlModifier | AltModifier, "set of modifiers");
}

int screen(const Context& context, int index)
{
    return number(context.arguments[index], -1, context.platform.screens().count() - 1, "screen");
}

Results done(const QString& errorText)
{
    failIf(errorText);
    return QVariantList();
}

void failIf(const QString& errorText)
{
    if (!errorText.isEmpty())
        throw operationFailed(errorText);
}

} // namespace Zendra::Agent
