#pragma once

#include <optional>

#include <QString>

#include <zendra/geometry.h>

#include "target.h"

namespace Zendra::Runner
{

/// The part of the screen that --area, --window or --of gives.
class ScreenArea
{
public:
    /// Declares --timeout, too, for commands that have none of their own.
    void declareWithTimeout(Arguments& arguments);
    void declare(Arguments& arguments);
    /// Throws a Failure of status WrongUsage.
    void check();

    /// In coordinates of the screen; a negative width stands for all of it. Waits for windows, elements and
    /// pictures.
    Rect find(Session& session) const { return find(session, m_search.deadline()); }
    Rect find(Session& session, const QDeadlineTimer& deadline) const;
    /// Milliseconds that find() may take.
    int longestTime() const;
    /// Whether no option limits the screen.
    bool isWholeScreen() const { return m_areaText.isEmpty() && !m_of && !m_search.hasOrigin(); }
    /// The options as they were given, for a command line in a message; with a blank at the end.
    QString givenOptions() const;

private:
    void declareOptions(Arguments& arguments);

    QString m_areaText;
    std::optional<QString> m_ofText;
    Rect m_area {0, 0, -1, -1, -1};
    std::optional<Target> m_of;
    ElementSearch m_search;
};

} // namespace Zendra::Runner
