#pragma once

#include <exception>
#include <utility>

#include <QString>

namespace Zendra::Agent
{

/// Ends a call with a D-Bus error.
class Failure : public std::exception
{
public:
    Failure(QString name, QString text)
        : m_name(std::move(name))
        , m_text(std::move(text))
    {
    }
    const QString& name() const { return m_name; }
    const QString& text() const { return m_text; }

private:
    QString m_name;
    QString m_text;
};

inline QString invalidArguments()
{
    return QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs");
}

inline QString operationFailed()
{
    return QStringLiteral("org.zendra.Error.OperationFailed");
}

} // namespace Zendra::Agent
