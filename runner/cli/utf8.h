#pragma once

#include <QByteArray>
#include <QString>

namespace Zendra::Runner
{

/// Decodes UTF-8; throws a Failure of status WrongUsage that begins with `what` where it is none.
QString toText(const QByteArray& bytes, const QString& what);

} // namespace Zendra::Runner
