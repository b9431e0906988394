#pragma once

#include <exception>
#include <utility>

#include <QString>

#include <protocol/names.h>

namespace Zendra::Agent
{

/// Makes the reply to a call an error.
class CallError : public std::exception
{
public:
    /// `name` is a literal, such as those in names.h.
    CallError(const char* name, QString text)
        : m_name(name)
        , m_text(std::move(text))
    {
    }
    const char* name() const { return m_name; }
    const QString& text() const { return m_text; }

private:
    const char* m_name;
    QString m_text;
};

inline CallError invalidArguments(const QString& text)
{
    return {static_cast<const char*>(Protocol::invalidArguments), text};
}

inline CallError operationFailed(const QString& text)
{
    return {static_cast<const char*>(Protocol::operationFailed), text};
}

} // namespace Zendra::Agent
