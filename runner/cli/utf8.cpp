#include "utf8.h"

#include <algorithm>

#include "failure.h"

namespace Zendra::Runner
{

QString toText(const QByteArray& bytes, const QString& what)
{
    // With the length, as a NUL may be part of the text.
    const QString text = QString::fromUtf8(bytes.constData(), bytes.size());
    if (text.toUtf8() == bytes)
        return text;
    // Shown as Latin-1, which it most likely is.
    constexpr int shownBytes = 60;
    const QString shown = QString::fromLatin1(bytes.constData(), std::min<int>(bytes.size(), shownBytes));
    const QString rest = bytes.size() > shownBytes ? QStringLiteral("…") : QString();
    throw usageFailure(
        QStringLiteral("%1 is not valid UTF-8 (read as Latin-1 it is '%2')").arg(what, shown + rest));
}

} // namespace Zendra::Runner
