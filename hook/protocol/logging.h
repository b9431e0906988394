#pragma once

#include <QLoggingCategory>

namespace Zendra
{

/// Categories for debugging messages, zendra.session and so on. They are off unless ZENDRA_LOG=debug or Qt's
/// own rules (QT_LOGGING_RULES) turn them on. Texts that are typed or copied, and what else may be a secret,
/// must not be logged.
const QLoggingCategory& sessionLog();   ///< displays, plug-ins and commands
const QLoggingCategory& processLog();   ///< programs, servers and signals
const QLoggingCategory& remoteLog();    ///< calls to an application
const QLoggingCategory& recordingLog(); ///< streams and files
const QLoggingCategory& agentLog();     ///< the hook inside a program

} // namespace Zendra
