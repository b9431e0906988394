#include "paste.h"

#include <algorithm>
#include <optional>

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QMimeData>

#include <zendra/nativeinterface.h>

#include "cli/failure.h"
#include "keyboard.h"
#include "session.h"
#include "x11/clipboardchange.h"
#include "x11/focusclass.h"

namespace Zendra::Runner
{

namespace
{

/// For the program to ask for the text, in milliseconds.
constexpr int pasteTimeout = 10'000;
/// Programs ask for the list of formats, for the text, and sometimes once more; clipboard managers ask as
/// soon as the clipboard changes.
constexpr int quietTime = 150;

/// Text that notes when it was asked for.
class WatchedText final : public QMimeData
{
public:
    explicit WatchedText(QString text)
        : m_text(std::move(text))
    {
    }

    QStringList formats() const override { return {QStringLiteral("text/plain")}; }
    int requests() const { return m_requests; }

protected:
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    using Type = QVariant::Type;
#else
    using Type = QMetaType;
#endif
    QVariant retrieveData(const QString& format, Type) const override
    {
        if (format != QLatin1String("text/plain"))
            return {};
        ++m_requests;
        return m_text;
    }

private:
    QString m_text;
    mutable int m_requests = 0;
};

struct PasteKeys {
    const char* windowClass;
    const char* keys;
    QClipboard::Mode mode = QClipboard::Clipboard;
};

/// Terminals leave Ctrl+V to the program inside.
constexpr PasteKeys knownPrograms[] = {
    {"XTerm", "<Shift+Insert>", QClipboard::Selection},
    {"UXTerm", "<Shift+Insert>", QClipboard::Selection},
    {"URxvt", "<Shift+Insert>", QClipboard::Selection},
    {"Rxvt", "<Shift+Insert>", QClipboard::Selection},
    {"Alacritty", "<Ctrl+Shift+v>"},
    {"Gnome-terminal", "<Ctrl+Shift+v>"},
    {"kitty", "<Ctrl+Shift+v>"},
    {"konsole", "<Ctrl+Shift+v>"},
    {"Lxterminal", "<Ctrl+Shift+v>"},
    {"Mate-terminal", "<Ctrl+Shift+v>"},
    {"qterminal", "<Ctrl+Shift+v>"},
    {"Terminator", "<Ctrl+Shift+v>"},
    {"Tilix", "<Ctrl+Shift+v>"},
    {"Xfce4-terminal", "<Ctrl+Shift+v>"},
    {"Emacs", "<Ctrl+y>"},
};

PasteKeys pasteKeys(Session& session)
{
    const QString windowClass = focusClass(session.displayName());
    const auto* known = std::find_if(std::begin(knownPrograms), std::end(knownPrograms),
        [&](const PasteKeys& program) { return windowClass == QLatin1String(program.windowClass); });
    if (known != std::end(knownPrograms))
        return *known;
    // Not every layout has a "v"; all toolkits paste with both.
    return {"", session.hasKey(QStringLiteral("v")) ? "<Ctrl+v>" : "<Shift+Insert>"};
}

void processEvents(int milliseconds)
{
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < milliseconds)
        QCoreApplication::processEvents(
            QEventLoop::WaitForMoreEvents, static_cast<int>(milliseconds - clock.elapsed()));
}

/// Waits until the text has been requested since `requestsBefore`, and no request is pending.
bool awaitPaste(Session& session, const WatchedText& text, int requestsBefore)
{
    QElapsedTimer clock;
    clock.start();
    for (int seen = requestsBefore; clock.elapsed() < pasteTimeout; seen = text.requests()) {
        session.requireNotInterrupted();
        processEvents(quietTime);
        if (text.requests() > requestsBefore && text.requests() == seen)
            return true;
    }
    return false;
}

/// Puts the text back that was on the clipboard, for the time after this process as well.
class OldText
{
public:
    explicit OldText(Session& session)
        : m_session(session)
    {
        const QMimeData* data = QGuiApplication::clipboard()->mimeData();
        const bool isEmpty = data == nullptr || data->formats().isEmpty();
        if (!isEmpty && !data->hasText()) {
            throw operationFailure(
                QStringLiteral("The clipboard holds something other than text, which could not be put back"));
        }
        m_text = isEmpty ? QString() : data->text();
    }
    ~OldText()
    {
        if (m_text.isEmpty()) {
            QGuiApplication::clipboard()->clear();
            return;
        }
        const ClipboardChange change(m_session.displayName());
        m_session.native().setClipboardText(m_text);
        change.await();
        m_session.noteClipboardChange();
    }

private:
    Q_DISABLE_COPY(OldText)

    Session& m_session;
    QString m_text;
};

} // namespace

void pasteText(Session& session, const QString& text, const QString& keys)
{
    if (session.isRemote())
        throw usageFailure(QStringLiteral("--paste is not for --app, where every character is typed"));
    session.guiNative(); // Qt has noticed the present owner
    const PasteKeys known = pasteKeys(session);
    const QString combination = keys.isEmpty() ? QLatin1String(known.keys) : keys;
    requireCombinationKeys(session, combination);
    const QClipboard::Mode mode = keys.isEmpty() ? known.mode : QClipboard::Clipboard;
    std::optional<OldText> oldText;
    if (mode == QClipboard::Clipboard)
        oldText.emplace(session);
    auto* watched = new WatchedText(text);
    QGuiApplication::clipboard()->setMimeData(watched, mode);
    processEvents(quietTime);
    const int requestsBefore = watched->requests();
    require(sendCombination(session, combination));
    session.synchronize();
    if (!awaitPaste(session, *watched, requestsBefore)) {
        throw operationFailure(
            QStringLiteral("The program with the focus has not pasted: it does not know %1")
                .arg(combination));
    }
}

} // namespace Zendra::Runner
