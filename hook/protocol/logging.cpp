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

Q_LOGGING_CATEGORY(sessionLog, "zendra.session", defaultLevel())
Q_LOGGING_CATEGORY(processLog, "zendra.process", defaultLevel())
Q_LOGGING_CATEGORY(remoteLog, "zendra.remote", defaultLevel())
Q_LOGGING_CATEGORY(recordingLog, "zendra.recording", defaultLevel())
Q_LOGGING_CATEGORY(agentLog, "zendra.agent", defaultLevel())

} // namespace Zendra
