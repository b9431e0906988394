#pragma once

#include <optional>
#include <vector>

#include <QString>
#include <QStringList>

#include "cli/textpattern.h"
#include "roles.h"

namespace Zendra::Runner
{

/// A name in a locator: exact, with wildcards, or a regular expression.
///
/// Blanks at the ends and underscores, which mark mnemonics, do not matter; "…" equals "...".
class NamePattern
{
public:
    /// `quoted` is what stands between the quotes: * and ? are wildcards unless a backslash precedes them.
    static NamePattern fromQuoted(const QString& quoted);
    /// Throws a Failure of status WrongUsage.
    static NamePattern fromExpression(const QString& expression);

    bool matches(const QString& name) const;
    /// The text to compare with when similar names are looked for.
    const QString& plainText() const { return m_plain; }

private:
    explicit NamePattern(TextPattern pattern);

    TextPattern m_pattern;
    QString m_plain;
};

/// One step of a locator: what an element must be.
struct LocatorStep {
    struct StateFilter {
        int state;
        bool isWanted;
    };

    QString text;                          ///< as it was written
    std::optional<std::vector<int>> roles; ///< any role if empty
    bool isField = false;                  ///< must be editable
    std::optional<NamePattern> name;
    QString id;     ///< empty for any
    int number = 0; ///< counts from 1, in reading order; 0 stands for all
    std::vector<StateFilter> states;

    /// Whether it says something about what can be seen; otherwise only showing elements are meant.
    bool filtersVisibility() const;
};

/// Says which element is meant: `window "Save As" > button "OK" #2 [enabled]`.
///
/// The element of a step is anywhere inside that of the step before.
class Locator
{
public:
    /// Throws a Failure of status WrongUsage that teaches.
    explicit Locator(const QString& text);

    const QString& text() const { return m_text; }
    /// Never empty.
    const std::vector<LocatorStep>& steps() const { return m_steps; }
    /// The same, but the element must have a role with one of these names.
    Locator withRoles(const QStringList& names) const;
    /// The same, but anywhere inside `outer`.
    Locator inside(const Locator& outer) const;

private:
    QString m_text;
    std::vector<LocatorStep> m_steps;
};

/// Without what does not matter in a name.
QString normalizedName(const QString& name);

/// In quotes, with a backslash before what a locator would interpret.
QString quotedName(const QString& name);

} // namespace Zendra::Runner
