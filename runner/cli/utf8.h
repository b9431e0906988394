#pragma once

#include <QByteArray>
#include <QString>

namespace Zendra::Runner
{

/// Decodes UTF-8. Throws a Failure of status WrongUsage that begins with `what` if it is invalid.
QString toText(const QByteArray& bytes, const QString& what);

} // namespace Zendra::Runner
