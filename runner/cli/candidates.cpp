#include "candidates.h"

#include <unistd.h>

#include "elements/roles.h"
#include "failure.h"
#include "remote/applications.h"
#include "x11/desktopwindows.h"

namespace Zendra::Runner
{

QStringList listeningProcessIds()
{
    QStringList ids;
    for (const qint64 process : listeningProcesses())
        ids.append(QString::number(process));
    return ids;
}

QStringList locators(const QString& begun)
{
    const int step = begun.lastIndexOf(QLatin1Char('>')) + 1;
    int start = step;
    while (start < begun.size() && begun.at(start).isSpace())
        ++start;
    const QString before = begun.left(start);
    QStringList found;
    for (const QString& role : roleNames()) {
        if (role.startsWith(begun.mid(start), Qt::CaseInsensitive))
            found.append(before + role);
    }
    return found;
}

QStringList windowTitles(const QString& display)
{
    constexpr unsigned timeout = 2;
    alarm(timeout);
    QStringList titles;
    try {
        DesktopWindows desktop(display.isEmpty() ? qgetenv("DISPLAY") : display.toLocal8Bit());
        for (const DesktopWindow& window : desktop.read()) {
            // A shell gets one candidate a line.
            if (!window.title.isEmpty() && !window.title.contains(QLatin1Char('\n')))
                titles.append(window.title);
        }
    } catch (const Failure&) {
        return {};
    }
    titles.removeDuplicates();
    return titles;
}

} // namespace Zendra::Runner
