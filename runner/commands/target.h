#pragma once

#include <initializer_list>
#include <optional>
#include <variant>

#include <QPoint>
#include <QString>
#include <QStringList>

#include <zendra/geometry.h>

#include "elements/elements.h"
#include "elements/locator.h"
#include "windoworigin.h"

namespace Zendra::Runner
{

class Arguments;
class Session;

/// Where a command acts: at a position, or at an element.
using Target = std::variant<QPoint, Locator>;

/// Takes the first target of the words: X and Y, or a locator. Throws a Failure of status WrongUsage; `what`
/// names the target.
Target takeTarget(QStringList& words, const QString& what);

/// Finds the elements that locators mean: the options of every command that takes a locator.
class ElementSearch
{
public:
    void declare(Arguments& arguments);
    /// Declares --offset and --window, too.
    void declareWithOffset(Arguments& arguments);
    /// Declares --window, too.
    void declareWithOrigin(Arguments& arguments);
    /// Throws a Failure of status WrongUsage, also where --window is given without coordinates.
    void check(std::initializer_list<const Target*> targets = {});
    /// Whether positions are relative to a window.
    bool hasOrigin() const { return m_origin.isGiven(); }

    QDeadlineTimer deadline() const;
    double seconds() const { return m_seconds; }
    /// The session's elements, limited by the options.
    Elements& elements(Session& session) const;
    /// The place on the screen that a target means. Waits for an element.
    QPoint place(Session& session, const Target& target, bool mustBeEnabled = true) const;

private:
    QPoint toScreen(Session& session, const QPoint& position) const;

    WindowOrigin m_origin;
    QString m_in;
    QString m_offsetText;
    std::optional<QPoint> m_offset;
    double m_seconds = 5.0;
};

} // namespace Zendra::Runner
