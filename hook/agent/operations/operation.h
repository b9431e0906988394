#pragma once

#include <memory>
#include <optional>

#include <QLatin1String>
#include <QString>
#include <QVariantList>

#include "agent/caller.h"
#include "agent/operationthread.h"
#include "agent/platform.h"

namespace Zendra::Agent
{

struct Typing;

/// What an operation works on. The plug-in is loaded.
struct Context {
    Platform& platform;
    const std::shared_ptr<Caller>& caller;
    QVariantList arguments;                     ///< of the types in the operation's signature
    unsigned int progress;                      ///< of an operation that runs in several steps; 0 at first
    std::shared_ptr<OperationThread> thread {}; ///< the next step runs when it has finished
    std::shared_ptr<Typing> typing {};          ///< by the thread
};

/// The results; none when the operation needs another step.
using Results = std::optional<QVariantList>;

/// A method of org.zendra.Hook1. Throws a CallError for invalid arguments.
struct Operation {
    const char* name;
    const char* signature; ///< of its arguments, as a D-Bus signature
    Results (*run)(Context& context);
};

/// Null for an unknown name.
const Operation* findOperation(QLatin1String name);

/// Throws a CallError that names `what` unless the number is from `lowest` to `highest`.
int number(const QVariant& argument, qint64 lowest, qint64 highest, const char* what);
/// A set of Shift, Control and Alt.
int modifiers(const QVariant& argument);
/// A screen that the display has, or -1.
int screen(const Context& context, int index);
/// No results; throws a CallError if there is an error text.
Results done(const QString& errorText);
void failIf(const QString& errorText);

/// Each list ends with a row without a name.
extern const Operation keyboardOperations[];
extern const Operation pointerOperations[];
extern const Operation screenOperations[];

} // namespace Zendra::Agent
