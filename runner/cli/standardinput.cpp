#include "standardinput.h"

#include <unistd.h>

#include <QFile>

#include "failure.h"
#include "utf8.h"

namespace Zendra::Runner
{

namespace
{

constexpr qint64 longestInput = 64 << 20; ///< bytes

} // namespace

bool isStandardInput(const QString& name)
{
    return name == QLatin1String("-");
}

QByteArray readFile(const QString& name, const QString& what)
{
    QFile file(name);
    const bool isOpen = isStandardInput(name) ? file.open(STDIN_FILENO, QIODevice::ReadOnly)
                                              : file.open(QIODevice::ReadOnly);
    const QString source = isStandardInput(name) ? QStringLiteral("standard input")
                                                 : QStringLiteral("%1 '%2'").arg(what, name);
    const QByteArray content = isOpen ? file.read(longestInput + 1) : QByteArray();
    if (!isOpen || file.error() != QFileDevice::NoError) {
        throw operationFailure(QStringLiteral("Cannot read %1: %2").arg(source, file.errorString()));
    }
    if (content.size() > longestInput)
        throw operationFailure(QStringLiteral("Cannot read %1: it is longer than 64 MiB").arg(source));
    return content;
}

QString textOrStandardInput(const QString& argument)
{
    if (!isStandardInput(argument))
        return argument;
    return toText(readFile(argument, QStringLiteral("the text")), QStringLiteral("Standard input"));
}

} // namespace Zendra::Runner
