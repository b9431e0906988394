// Commands that press keys.

#include "commands.h"

#include <vector>

#include <zendra/keynames.h>
#include <zendra/nativeinterface.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/standardinput.h"
#include "session/keysequence.h"
#include "session/session.h"

namespace Zendra::Runner
{

namespace
{

/// The character at `index` of a text, both halves of it where it has two.
QString characterAt(const QString& text, int index)
{
    return text.mid(index, text.at(index).isHighSurrogate() ? 2 : 1);
}

/// Tells a character by its look and its place: "'ж' (character 2 of 'aжb')".
QString described(const QString& text, int index, const QString& textName)
{
    return QStringLiteral("'%1' (character %2 of %3)")
        .arg(characterAt(text, index), QString::number(text.left(index).toUcs4().size() + 1), textName);
}

/// The first character of `text` that the keyboard has no key for, with its place.
QString untypableCharacter(NativeInterface& native, const QString& text)
{
    const QString quoted = QStringLiteral("'%1'").arg(text);
    for (int index = 0; index < text.size(); index += characterAt(text, index).size()) {
        if (!native.isValidSpecialKey(ourKeyToXKBString(characterAt(text, index))))
            return described(text, index, quoted);
    }
    return quoted;
}

/// Text as it is typed: with one kind of line end, and without control characters that no key stands for.
QString typableText(const QString& text)
{
    QString typable = text;
    typable.replace(QLatin1String("\r\n"), QLatin1String("\n")).replace(QLatin1Char('\r'), QLatin1Char('\n'));
    const QString errorText = typedTextError(typable);
    if (!errorText.isEmpty())
        throw usageFailure(errorText);
    return typable;
}

class Keys : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.texts(
            "SEQUENCE...", m_sequences, "text, and combinations in angle brackets", Completion::KeySequence);
    }

    void check() override
    {
        for (const QString& sequence : m_sequences) {
            const std::vector<KeyPiece> pieces = splitKeySequence(typableText(sequence));
            m_pieces.insert(m_pieces.end(), pieces.begin(), pieces.end());
        }
    }

    void run(Session& session) const override
    {
        NativeInterface& native = session.native();
        for (const KeyPiece& piece : m_pieces) {
            session.requireNotInterrupted();
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

class Type : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("TEXT", m_text, "the text; - reads standard input");
    }

    void check() override { m_text = typableText(textOrStandardInput(m_text)); }

    void run(Session& session) const override
    {
        const TypedText result = session.type(m_text);
        if (!result.errorText.isEmpty()) {
            throw operationFailure(
                QStringLiteral("Cannot type %1: %2")
                    .arg(described(m_text, result.typed, QStringLiteral("the text")), result.errorText));
        }
    }

private:
    QString m_text;
};

class SendTo : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text("TITLE", m_title, "the whole title of the window");
        arguments.text("TEXT", m_text, "the text; - reads standard input");
    }

    void check() override
    {
        if (m_title.isEmpty())
            throw usageFailure(QStringLiteral("'send-to' needs the title of a window"));
        m_text = typableText(textOrStandardInput(m_text));
    }

    void run(Session& session) const override
    {
        NativeInterface& native = session.native();
        const QString errorText = native.sendTextToWindow(m_title, m_text);
        if (errorText.startsWith(QLatin1String("Could not translate")))
            throw operationFailure(
                QStringLiteral("Cannot type %1: %2").arg(untypableCharacter(native, m_text), errorText));
        require(errorText);
    }

private:
    QString m_title;
    QString m_text;
};

template <bool press>
class KeyState : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.text(
            "NAME", m_name, "a character, or the name of a key such as '<Shift>'", Completion::KeyName);
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
        session.heldDown().noteKey(keys, press);
    }

private:
    QString m_name;
};

constexpr CommandInfo commands[] = {
    {"type", "TEXT", "types a text, as it stands, into the focused window",
        "Nothing in the text has a meaning of its own; a line feed presses Enter. At a character that the keyboard\n"
        "lacks it ends with status 1; what was typed before stays typed.",
        "zendra type 'if (a < b) return <none>;'\n"
        "zendra type - < letter.txt",
        makeCommand<Type>},
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
    {"send-to", "TITLE TEXT", "types a text into the window with a title",
        "The window is looked up by its whole title, upper and lower case as it is. On a display with the XTest\n"
        "extension the keys then go to the window with the focus, as from a keyboard; on one without, to the window\n"
        "with the title.",
        "zendra send-to 'Untitled - Editor' 'hello'", makeCommand<SendTo>},
};

} // namespace

CommandGroup keyCommands()
{
    return makeGroup("Keyboard", commands);
}

} // namespace Zendra::Runner
