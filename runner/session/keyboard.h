#pragma once

#include <QSet>
#include <QString>

namespace Zendra::Runner
{

class Session;

/// Checks before typing that the keyboard has all the keys that are needed.
class KeyCheck
{
public:
    explicit KeyCheck(Session& session)
        : m_session(session)
    {
    }

    /// Throws for the first character that has no key. `textName` names the text in the error.
    void requireText(const QString& text, const QString& textName);
    /// The same for the names in a combination with its angle brackets.
    void requireCombination(const QString& combination);

private:
    /// Cached: each miss may be a D-Bus call.
    bool hasKey(const QString& name);

    Session& m_session;
    QSet<QString> m_present;
};

/// Sends a combination in angle brackets so that clients receive the named keysyms regardless of Num Lock.
/// Returns an error text.
QString sendCombination(Session& session, const QString& combination);

/// Presses or releases one key likewise. `name` is that of a keysym.
QString sendKey(Session& session, const QString& name, bool press);

} // namespace Zendra::Runner
