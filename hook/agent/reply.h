#pragma once

#include <exception>

#include <QVariantList>

#include <protocol/dbusmessage.h>

#include "callerror.h"

namespace Zendra::Agent
{

/// The reply to a call with what `function` returns or throws.
template <typename Function>
DBus::Message replyWith(const DBus::Message& call, Function function)
{
    try {
        return call.reply(function());
    } catch (const CallError& error) {
        return call.error(error.name(), error.text());
    } catch (const std::exception& error) {
        return call.error(Protocol::operationFailed, QString::fromUtf8(error.what()));
    }
}

inline void requireSignature(const DBus::Message& call, const char* signature)
{
    if (call.signature() == QLatin1String(signature))
        return;
    throw invalidArguments(QStringLiteral("%1 takes arguments of the types '%2', not '%3'")
                               .arg(call.member(), QLatin1String(signature), call.signature()));
}

inline CallError unknownMethod(const DBus::Message& call)
{
    return {static_cast<const char*>(Protocol::unknownMethod),
        QStringLiteral("There is no method '%1'").arg(call.member())};
}

} // namespace Zendra::Agent
