#pragma once

#include <exception>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QLatin1String>
#include <QVariantList>

#include "failure.h"

namespace Zendra::Agent
{

/// Answers a call, if its sender wants an answer, with what `function` returns or throws.
template <typename Function>
void answerWith(const QDBusMessage& message, const QDBusConnection& connection, Function function)
{
    QDBusMessage answer;
    try {
        answer = message.createReply(function());
    } catch (const Failure& failure) {
        answer = message.createErrorReply(failure.name(), failure.text());
    } catch (const std::exception& error) {
        answer = message.createErrorReply(operationFailed(), QString::fromUtf8(error.what()));
    }
    if (message.isReplyRequired())
        connection.send(answer);
}

inline void expectSignature(const QDBusMessage& message, QLatin1String signature)
{
    if (message.signature() == signature)
        return;
    throw Failure(invalidArguments(),
        QStringLiteral("%1 takes arguments of the types '%2', not '%3'")
            .arg(message.member(), signature, message.signature()));
}

inline Failure unknownMethod(const QDBusMessage& message)
{
    return {QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"),
        QStringLiteral("There is no method '%1'").arg(message.member())};
}

} // namespace Zendra::Agent
