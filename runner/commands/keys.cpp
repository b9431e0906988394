// Commands that press keys.

#include "commands.h"

#include <vector>

#include <zendra/keynames.h>
#include <zendra/nativeinterface.h>

#include "../arguments.h"
#include "../failure.h"
#include "../keysequence.h"
#include "../session.h"

namespace Zendra::Runner
{

namespace
{

/// The first character of `text` that the keyboard has no key for, with its place.
QString untypableCharacter(NativeInterface& native, const QString& text)
{
    for (int index = 0; index < text.size(); ++index) {
        const int length = text.at(index).isHighSurrogate() ? 2 : 1;
        const QString character = text.mid(index, length);
        if (!native.isValidSpecialKey(ourKeyToXKBString(character)))
            return QStringLiteral("'%1' (character %2 of '%3')").arg(character).arg(index + 1).arg(text);
        index += length - 1;
    }
    return QStringLiteral("'%1'").arg(text);
}

class Keys : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.texts("SEQUENCE...", m_sequences, "text, and combinations in angle brackets");
    }

    void check() override
    {
        for (const QString& sequence : m_sequences) {
            const std::vector<KeyPiece> pieces = splitKeySequence(sequence);
            m_pieces.insert(m_pieces.end(), pieces.begin(), pieces.end());
        }
    }

    void run(Session& session) const override
    {
        NativeInterface& native = session.native();
        for (const KeyPiece& piece : m_pieces) {
            const QString errorText = native.sendKeyEventToFocusWindow(piece.text);
            if (errorText.isEmpty())
                continue;
            const QString culprit = piece.isCombination ? QStringLiteral("'%1'").arg(piece.text)
                                                        : untypableCharacter(native, piece.text);
            throw operationFailure(QStringLiteral("Cannot type %1: %2").arg(culprit, errorText));
        }
    }

private:
    QStringList m_sequences;
    std::vector<KeyPiece> m_pieces;
};

template <bool press>
class KeyState : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("NAME", m_name, "a character, or the name of a key such as '<Shift>'");
    }

    void check() override { m_name = singleKeyName(m_name); }

    void run(Session& session) const override
    {
        // The name is translated here and bracketed always: the native interface knows fewer spellings for
        // single keys than for combinations, and it reports errors only for names in brackets.
        const QString keys = QLatin1Char('<') + ourKeyToXKBString(m_name) + QLatin1Char('>');
        const QString errorText = session.native().sendKeys(keys, press);
        if (!errorText.isEmpty()) {
            const QString verb = press ? QStringLiteral("press") : QStringLiteral("release");
            throw operationFailure(QStringLiteral("Cannot %1 '%2': %3").arg(verb, m_name, errorText));
        }
    }

private:
    QString m_name;
};

constexpr CommandInfo commands[] = {
    {"keys", "SEQUENCE...", "types text, with key combinations in angle brackets, into the focused window",
        "A less-than sign is written <less>, the plus key in a combination comes last: <Ctrl++>.\n"
        "A line feed in the text presses Enter. Nothing is typed unless all of it can be understood.",
        "zendra keys 'hello<Enter>'\n"
        "zendra keys '<Ctrl+a><Del>' 'new text<Shift+Tab>'",
        makeCommand<Keys>},
    {"press", "NAME", "presses a key and keeps it down", "", "zendra press '<Shift>'",
        makeCommand<KeyState<true>>},
    {"release", "NAME", "lets a pressed key go", "", "zendra release '<Shift>'",
        makeCommand<KeyState<false>>},
};

} // namespace

CommandGroup keyCommands()
{
    return makeGroup("Keyboard", commands);
}

} // namespace Zendra::Runner
