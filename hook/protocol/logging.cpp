#include "logging.h"

namespace Zendra
{

namespace
{

/// The level at which a category begins to write, where no rule of Qt's says otherwise. Rules set from here
/// would replace those of the program that the hook is inside.
QtMsgType defaultLevel()
{
    return qgetenv("ZENDRA_LOG") == "debug" ? QtDebugMsg : QtWarningMsg;
}

} // namespace

const QLoggingCategory& sessionLog()
{
    static const QLoggingCategory category("zendra.session", defaultLevel());
    return category;
}

const QLoggingCategory& processLog()
{
    static const QLoggingCategory category("zendra.process", defaultLevel());
    return category;
}

const QLoggingCategory& remoteLog()
{
    static const QLoggingCategory category("zendra.remote", defaultLevel());
    return category;
}

const QLoggingCategory& recordingLog()
{
    static const QLoggingCategory category("zendra.recording", defaultLevel());
    return category;
}

const QLoggingCategory& agentLog()
{
    static const QLoggingCategory category("zendra.agent", defaultLevel());
    return category;
}

} // namespace Zendra
