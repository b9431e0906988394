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
#include "picturelocator.h"
#include "windoworigin.h"

namespace Zendra::Runner
{

class Arguments;
class Session;

/// Where a command acts: at a position, at an element, or where a picture is.
using Target = std::variant<QPoint, Locator, PictureLocator>;

/// Whether a word is not a locator: none begins with a number.
bool beginsWithNumber(const QString& word);
/// An element or a picture. Throws a Failure of status WrongUsage.
Target toTarget(const QString& locator);

/// Takes the first target of the words: X and Y, or a locator. Throws a Failure of status WrongUsage; `what`
/// names the target.
Target takeTarget(QStringList& words, const QString& what);

/// Finds the elements that locators mean: the options of every command that takes a locator.
class ElementSearch
{
public:
    void declare(Arguments& arguments);
    /// Declares --offset, --window and --similarity, too.
    void declareWithOffset(Arguments& arguments);
    /// Declares --window and --similarity, too.
    void declareWithOrigin(Arguments& arguments);
    /// The same without --timeout.
    void declareForArea(Arguments& arguments);
    /// Throws a Failure of status WrongUsage, also where --window is given without coordinates.
    void check(std::initializer_list<const Target*> targets = {});
    /// For --of, or null without it.
    void checkArea(const Target* target);
    const WindowOrigin& origin() const { return m_origin; }
    /// Whether positions are relative to a window.
    bool hasOrigin() const { return m_origin.isGiven(); }

    QDeadlineTimer deadline() const;
    double seconds() const { return m_seconds; }
    /// The session's elements, limited by the options.
    Elements& elements(Session& session) const;
    /// The place on the screen that a target means. Waits for an element.
    QPoint place(Session& session, const Target& target, bool mustBeEnabled = true) const;
    /// The area of the screen that an element or a picture has. Waits for it.
    QRect area(Session& session, const Target& target, const QDeadlineTimer& deadline) const;

private:
    void declareScope(Arguments& arguments);
    void declareTimeout(Arguments& arguments);
    void checkPicture(std::initializer_list<const Target*> targets);
    QPoint toScreen(Session& session, const QPoint& position) const;
    QRect find(Session& session, const PictureLocator& picture, const QDeadlineTimer& deadline) const;

    WindowOrigin m_origin;
    QString m_in;
    QString m_offsetText;
    std::optional<QPoint> m_offset;
    QString m_similarityText;
    double m_similarity = PictureLocator::defaultSimilarity;
    double m_seconds = 5.0;
};

} // namespace Zendra::Runner
