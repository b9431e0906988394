#include "utf8.h"

#include "failure.h"

namespace Zendra::Runner
{

QString toText(const QByteArray& bytes, const QString& what)
{
    const QString text = QString::fromUtf8(bytes);
    if (text.toUtf8() == bytes)
        return text;
    // Latin-1 shows every byte as one character, which is what such a text most likely was written in.
    throw usageFailure(QStringLiteral("%1 is not valid UTF-8 (read as Latin-1 it is '%2')")
                           .arg(what, QString::fromLatin1(bytes)));
}

} // namespace Zendra::Runner
