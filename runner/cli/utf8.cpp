#include "utf8.h"

#include <algorithm>

#include "failure.h"

namespace Zendra::Runner
{

QString toText(const QByteArray& bytes, const QString& what)
{
    // With the length: a NUL is a character like any other here.
    const QString text = QString::fromUtf8(bytes.constData(), bytes.size());
    if (text.toUtf8() == bytes)
        return text;
    // Latin-1 shows every byte as one character, which is what such a text most likely was written in.
    constexpr int shownBytes = 60;
    const QString shown = QString::fromLatin1(bytes.constData(), std::min(bytes.size(), shownBytes));
    const QString rest = bytes.size() > shownBytes ? QStringLiteral("…") : QString();
    throw usageFailure(
        QStringLiteral("%1 is not valid UTF-8 (read as Latin-1 it is '%2')").arg(what, shown + rest));
}

} // namespace Zendra::Runner
