#pragma once

#include <QSet>
#include <QString>

namespace Zendra::Runner
{

class Session;

/// Finds out before anything is typed whether the keyboard has keys for all of it.
class KeyCheck
{
public:
    explicit KeyCheck(Session& session)
        : m_session(session)
    {
    }

    /// Throws for the first character that no key types. `textName` says in the error what the text is.
    void requireText(const QString& text, const QString& textName);
    /// The same for the names in a combination with its angle brackets.
    void requireCombination(const QString& combination);

private:
    /// Asks once for each name: the answer may come from another process.
    bool hasKey(const QString& name);

    Session& m_session;
    QSet<QString> m_present;
};

/// Sends a combination with its angle brackets so that clients receive the keysyms that it names, whatever
/// Num Lock says; returns an error text.
QString sendCombination(Session& session, const QString& combination);

/// Presses or releases one key likewise. `name` is that of a keysym.
QString sendKey(Session& session, const QString& name, bool press);

} // namespace Zendra::Runner
