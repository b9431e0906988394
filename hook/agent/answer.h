#pragma once

#include <exception>

#include <QLatin1String>
#include <QVariantList>

#include <dbus/message.h>

#include "failure.h"

namespace Zendra::Agent
{

/// The answer to a call: what `function` returns or throws.
template <typename Function>
DBus::Message answerWith(const DBus::Message& call, Function function)
{
    try {
        return call.reply(function());
    } catch (const Failure& failure) {
        return call.error(failure.name(), failure.text());
    } catch (const std::exception& error) {
        return call.error(operationFailed(), QString::fromUtf8(error.what()));
    }
}

inline void expectSignature(const DBus::Message& message, QLatin1String signature)
{
    if (message.signature() == signature)
        return;
    throw Failure(invalidArguments(),
        QStringLiteral("%1 takes arguments of the types '%2', not '%3'")
            .arg(message.member(), signature, message.signature()));
}

inline Failure unknownMethod(const DBus::Message& message)
{
    return {QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"),
        QStringLiteral("There is no method '%1'").arg(message.member())};
}

} // namespace Zendra::Agent
