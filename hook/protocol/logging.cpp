#include "logging.h"

namespace Zendra
{

namespace
{

/// The default level of a category. QLoggingCategory::setFilterRules() would replace the rules of the program
/// under test.
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
