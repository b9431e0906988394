// Commands that read and write the clipboard.

#include "commands.h"

#include <optional>

#include <QJsonObject>
#include <QStandardPaths>

#include <zendra/nativeinterface.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "cli/standardinput.h"
#include "session/session.h"
#include "x11/clipboardchange.h"

namespace Zendra::Runner
{

namespace
{

class Clipboard : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.choice<bool>("get|set", m_set, {{"get", false}, {"set", true}}, "read or set");
        arguments.text("[TEXT]", m_text, "the text to set; - reads standard input");
    }

    void check() override
    {
        if (m_set && !m_text)
            throw usageFailure(QStringLiteral("'clipboard set' needs a text, or - for standard input"));
        if (!m_set && m_text)
            throw usageFailure(QStringLiteral("'clipboard get' takes no text; use 'clipboard set'"));
        if (m_text)
            m_text = textOrStandardInput(*m_text);
    }

    /// Only the plug-in's variant for Qt applications can read the clipboard.
    bool needsGuiApplication() const override { return !m_set; }

    void run(Session& session) const override
    {
        if (m_set)
            write(session);
        else
            read(session);
    }

private:
    static void read(Session& session)
    {
        const ClipboardText clipboard = session.guiNative().getClipboardText();
        require(clipboard.errorText);
        session.output().text(clipboard.text, {{QStringLiteral("text"), clipboard.text}});
    }

    void write(Session& session) const
    {
        NativeInterface& native = session.native();
        // If the application owns the clipboard already, the owner does not change.
        if (session.isGuiPlatform())
            require(native.setClipboardText(*m_text));
        else
            writeByTool(session, native);
    }

    void writeByTool(Session& session, NativeInterface& native) const
    {
        if (QStandardPaths::findExecutable(QStringLiteral("xsel")).isEmpty()) {
            throw operationFailure(
                QStringLiteral("'clipboard set' needs the program xsel; install the package xsel"));
        }
        std::optional<ClipboardChange> change;
        if (session.canOpenDisplay())
            change.emplace(session.displayName());
        require(native.setClipboardText(*m_text));
        // An empty text clears the clipboard at once.
        if (change && !m_text->isEmpty()) {
            change->await();
            session.noteClipboardChange();
        }
    }

    bool m_set = false;
    std::optional<QString> m_text;
};

constexpr CommandInfo commands[] = {
    {"clipboard", "reads or sets the text on the clipboard",
        "A text that was set remains available after the command has ended.",
        "zendra clipboard set 'some text'\n"
        "zendra clipboard get > text.txt\n"
        "zendra clipboard set - < text.txt",
        makeCommand<Clipboard>},
};

} // namespace

CommandGroup clipboardCommands()
{
    return makeGroup("Clipboard", commands);
}

} // namespace Zendra::Runner
