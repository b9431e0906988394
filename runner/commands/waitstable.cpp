#include "waitstable.h"

#include <algorithm>

#include <QElapsedTimer>
#include <QRect>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "session/session.h"
#include "x11/damagewatch.h"

namespace Zendra::Runner
{

namespace
{

/// Milliseconds in which changes are collected.
constexpr int burst = 5;

} // namespace

void WaitStable::declare(Arguments& arguments)
{
    m_area.declare(arguments);
    arguments.number(
        "--for MS", m_quietTime, {1, 86'400'000}, "without a change, in milliseconds; 300 by default");
    arguments.timeout(m_seconds, "the timeout in seconds; 5 by default");
}

void WaitStable::check()
{
    m_area.check();
    if (m_quietTime > m_seconds * 1000.0)
        throw usageFailure(QStringLiteral("--for is longer than --timeout"));
}

int WaitStable::longestTime() const
{
    constexpr int windowTimeout = 5000; // milliseconds
    return static_cast<int>(m_seconds * 1000.0) + windowTimeout;
}

void WaitStable::run(Session& session) const
{
    session.platform();
    session.synchronize();
    const auto timeout = static_cast<qint64>(m_seconds * 1000.0);
    QElapsedTimer total;
    total.start();
    const Rect area = m_area.find(session, QDeadlineTimer(timeout));
    DamageWatch watch(session.displayName());
    const QRect part(area.x, area.y, area.width, area.height);
    const auto concerns = [&](const QRect& changed) { return area.width < 0 || part.intersects(changed); };
    QElapsedTimer quiet;
    quiet.start();
    QRect last;
    while (quiet.elapsed() < m_quietTime) {
        const std::vector<QRect> changes = watch.take();
        const auto change = std::find_if(changes.begin(), changes.end(), concerns);
        if (change != changes.end()) {
            last = *change;
            quiet.restart();
        }
        const qint64 left = timeout - total.elapsed();
        if (left <= 0) {
            throw operationFailure(
                QStringLiteral("%1 still changed after %2 s, within %3,%4,%5,%6")
                    .arg(area.width < 0 ? QStringLiteral("The screen") : QStringLiteral("The area"),
                        QString::number(m_seconds))
                    .arg(last.x())
                    .arg(last.y())
                    .arg(last.width())
                    .arg(last.height()));
        }
        const qint64 needed = std::min(left, m_quietTime - quiet.elapsed());
        if (changes.empty())
            session.wait(static_cast<int>(std::max<qint64>(needed, 0)), watch.fileDescriptor());
        else
            session.wait(static_cast<int>(std::clamp<qint64>(needed, 0, burst)));
        session.requireNotInterrupted();
    }
}

} // namespace Zendra::Runner
