// Commands that press keys.

#include "commands.h"

#include <optional>
#include <vector>

#include <zendra/keynames.h>
#include <zendra/nativeinterface.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/standardinput.h"
#include "session/keyboard.h"
#include "session/keysequence.h"
#include "session/paste.h"
#include "session/session.h"
#include "x11/pressedinput.h"

namespace Zendra::Runner
{

namespace
{

/// The text with line feeds as line ends. Throws for control characters that no key produces.
QString typableText(const QString& text)
{
    QString typable = text;
    typable.replace(QLatin1String("\r\n"), QLatin1String("\n")).replace(QLatin1Char('\r'), QLatin1Char('\n'));
    const QString errorText = typedTextError(typable);
    if (!errorText.isEmpty())
        throw usageFailure(errorText);
    return typable;
}

void declareTyping(Arguments& arguments, TypingMode& mode)
{
    arguments.number("--delay MS", mode.delay, {0, 60'000}, "wait between characters, in milliseconds");
    arguments.flag("--no-remap", mode.noRemap, "refuse characters that the keyboard layout lacks");
    arguments.flag(
        "--keep-modifiers", mode.keepModifiers, "let Caps Lock and held modifiers change what is typed");
}

class Keys : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        declareTyping(arguments, m_mode);
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

    void checkKeyboard(Session& session) const override
    {
        for (const KeyPiece& piece : m_pieces) {
            if (piece.isCombination)
                requireCombinationKeys(session, piece.text);
            else
                requireTextKeys(session, piece.text, QStringLiteral("'%1'").arg(piece.text), m_mode);
        }
    }

    void run(Session& session) const override
    {
        checkKeyboard(session);
        for (const KeyPiece& piece : m_pieces) {
            session.requireNotInterrupted();
            const QString errorText = piece.isCombination
                ? sendCombination(session, piece.text)
                : typeText(session, piece.text, m_mode, [&] {
                      return session.isRemote()
                          ? session.type(piece.text)
                          : TypedText {0, session.native().sendKeyEventToFocusWindow(piece.text)};
                  }).errorText;
            if (!errorText.isEmpty())
                throw operationFailure(QStringLiteral("Cannot type '%1': %2").arg(piece.text, errorText));
        }
    }

private:
    TypingMode m_mode;
    QStringList m_sequences;
    std::vector<KeyPiece> m_pieces;
};

class Type : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        declareTyping(arguments, m_mode);
        arguments.flagWithValue("--paste[=KEYS]", m_paste, "paste the text through the clipboard");
        arguments.text("TEXT", m_text, "the text; - reads standard input");
    }

    void check() override
    {
        m_text = textOrStandardInput(m_text);
        if (!m_paste) {
            m_text = typableText(m_text);
            return;
        }
        if (m_paste->isEmpty())
            return;
        const std::vector<KeyPiece> pieces = splitKeySequence(*m_paste);
        if (pieces.size() != 1 || !pieces.front().isCombination)
            throw usageFailure(
                QStringLiteral("'%1' is not one combination such as '<Ctrl+v>'").arg(*m_paste));
    }

    bool needsGuiApplication() const override { return m_paste.has_value(); }

    void checkKeyboard(Session& session) const override
    {
        if (!m_paste)
            requireTextKeys(session, m_text, QStringLiteral("the text"), m_mode);
    }

    void run(Session& session) const override
    {
        if (m_paste) {
            pasteText(session, m_text, *m_paste);
            return;
        }
        checkKeyboard(session);
        const TypedText result = typeText(session, m_text, m_mode, [&] { return session.type(m_text); });
        if (!result.errorText.isEmpty()) {
            throw operationFailure(QStringLiteral("Typed %1 of %2 characters: %3")
                                       .arg(result.typed)
                                       .arg(m_text.size())
                                       .arg(result.errorText));
        }
    }

private:
    TypingMode m_mode;
    std::optional<QString> m_paste;
    QString m_text;
};

class SendTo : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        declareTyping(arguments, m_mode);
        arguments.text("TITLE", m_title, "the whole title of the window", Completion::WindowTitle);
        arguments.text("TEXT", m_text, "the text; - reads standard input");
    }

    void check() override
    {
        if (m_title.isEmpty())
            throw usageFailure(QStringLiteral("'send-to' needs the title of a window"));
        m_text = typableText(textOrStandardInput(m_text));
    }

    void checkKeyboard(Session& session) const override
    {
        requireTextKeys(session, m_text, QStringLiteral("the text"), m_mode);
    }

    void run(Session& session) const override
    {
        checkKeyboard(session);
        if (session.typist() == nullptr) {
            require(session.native().sendTextToWindow(m_title, m_text));
            return;
        }
        require(session.native().sendTextToWindow(m_title, {}));
        require(typeText(session, m_text, m_mode, [&] {
            return session.isRemote() ? session.type(m_text)
                                      : TypedText {0, session.native().sendTextToWindow(m_title, m_text)};
        }).errorText);
    }

private:
    TypingMode m_mode;
    QString m_title;
    QString m_text;
};

template <bool press>
class KeyState : public InputCommand
{
public:
    void declare(Arguments& arguments) override
    {
        if (!press)
            arguments.flag("--all", m_all, "release all keys and buttons that are down");
        arguments.text(press ? "NAME" : "[NAME]", m_name,
            "a character, or the name of a key such as '<Shift>'", Completion::KeyName);
    }

    void check() override
    {
        if (m_all && !m_name.isEmpty())
            throw usageFailure(QStringLiteral("--all cannot be combined with the name of a key"));
        if (!m_all && !press && m_name.isEmpty())
            throw usageFailure(QStringLiteral("'release' needs the name of a key, or --all"));
        if (!m_all)
            m_name = singleKeyName(m_name);
    }

    void run(Session& session) const override
    {
        if (m_all) {
            session.synchronize();
            session.platform();
            releasePressedInput(session.displayName());
            session.heldDown() = HeldDown();
            return;
        }
        const QString name = ourKeyToXKBString(m_name);
        const QString errorText = sendKey(session, name, press);
        if (!errorText.isEmpty()) {
            const QString verb = press ? QStringLiteral("press") : QStringLiteral("release");
            throw operationFailure(QStringLiteral("Cannot %1 '%2': %3").arg(verb, m_name, errorText));
        }
        session.heldDown().noteKey(QLatin1Char('<') + name + QLatin1Char('>'), press);
    }

private:
    bool m_all = false;
    QString m_name;
};

constexpr CommandInfo commands[] = {
    {"type", "types a text literally into the focused window",
        "No character has a special meaning; a line feed presses Enter. Characters that the keyboard layout lacks\n"
        "are mapped to spare key codes; the keyboard map is restored afterwards. --paste uses the clipboard\n"
        "instead, and restores its text.",
        "zendra type 'if (a < b) return <none>;'\n"
        "zendra type 'naïve 漢字'\n"
        "zendra type - < letter.txt",
        makeCommand<Type>},
    {"keys", "types text, with key combinations in angle brackets, into the focused window",
        "A less-than sign is written <less>; the plus key comes last in a combination: <Ctrl++>. A line feed\n"
        "presses Enter. Text is typed as by 'type'. Nothing is typed unless the whole sequence is valid and the\n"
        "keyboard layout has the keys in brackets.",
        "zendra keys 'hello<Enter>'\n"
        "zendra keys '<Ctrl+a><Del>' 'new text<Shift+Tab>'",
        makeCommand<Keys>},
    {"press", "presses a key and holds it down", "", "zendra press '<Shift>'", makeCommand<KeyState<true>>},
    {"release", "releases a key, or all keys and buttons", "",
        "zendra release '<Shift>'\n"
        "zendra release --all",
        makeCommand<KeyState<false>>},
    {"send-to", "types a text if there is a window with this title",
        "The whole title must match, including case. With the XTest extension the keys go to the window with the\n"
        "focus, as from a keyboard; without, to the window with the title.",
        "zendra send-to 'Untitled - Editor' 'hello'", makeCommand<SendTo>},
};

} // namespace

CommandGroup keyCommands()
{
    return makeGroup("Keyboard", commands);
}

} // namespace Zendra::Runner
