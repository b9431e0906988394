#include "expecttext.h"

#include <algorithm>
#include <functional>

#include <sys/inotify.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <zendra/nativeinterface.h>

#include "cli/arguments.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "process/childprocess.h"
#include "session/session.h"
#include "x11/clipboardchange.h"

namespace Zendra::Runner
{

namespace
{

/// Milliseconds between checks without an event: a folder may not exist yet, or be on a network.
constexpr int longestPause = 250;

QString quoted(const QString& text)
{
    constexpr int shownLength = 60;
    return QStringLiteral("'%1'").arg(
        onOneLine(text.size() > shownLength ? text.left(shownLength) + QStringLiteral("…") : text));
}

/// Checks `condition` now and when `fileDescriptor` was readable, which it has to empty. False after the
/// timeout.
bool waitUntil(Session& session, double seconds, int fileDescriptor, const std::function<bool()>& condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        const qint64 left = static_cast<qint64>(seconds * 1000.0) - timer.elapsed();
        if (left <= 0)
            return false;
        session.wait(static_cast<int>(std::min<qint64>(left, longestPause)), fileDescriptor);
        session.requireNotInterrupted();
    }
    return true;
}

/// Readable when something happens in a folder.
class FolderWatch
{
public:
    explicit FolderWatch(const QString& folder)
        : m_folder(QFile::encodeName(folder))
        , m_descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
    }

    int fileDescriptor() const { return m_descriptor.number(); }

    /// Takes the events. Watches the folder once it exists.
    void take()
    {
        constexpr std::uint32_t events
            = IN_CREATE | IN_MOVED_TO | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_ONLYDIR;
        if (m_watch < 0)
            m_watch = inotify_add_watch(m_descriptor.number(), m_folder.constData(), events);
        char buffer[4096];
        while (read(m_descriptor.number(), buffer, sizeof buffer) > 0) { }
    }

private:
    const QByteArray m_folder;
    const FileDescriptor m_descriptor;
    int m_watch = -1;
};

} // namespace

void ExpectClipboard::declare(Arguments& arguments)
{
    arguments.text("TEXT", m_text, "the whole text, with * and ?, or /REGEX/");
    arguments.timeout(m_seconds, "the timeout in seconds; 5 by default");
}

void ExpectClipboard::check()
{
    m_pattern.emplace(m_text);
}

int ExpectClipboard::longestTime() const
{
    constexpr int reading = 6000; // milliseconds that Qt may wait for an owner
    return static_cast<int>(m_seconds * 1000.0) + reading;
}

void ExpectClipboard::run(Session& session) const
{
    session.platform();
    std::optional<ClipboardWatch> watch;
    if (session.canOpenDisplay())
        watch.emplace(session.displayName());
    ClipboardText clipboard;
    const auto isMet = [&] {
        if (watch && watch->take())
            session.noteClipboardChange();
        clipboard = session.guiNative().getClipboardText();
        return clipboard.errorText.isEmpty() && m_pattern->matches(clipboard.text);
    };
    if (waitUntil(session, m_seconds, watch ? watch->fileDescriptor() : -1, isMet))
        return;
    require(clipboard.errorText);
    throw operationFailure(QStringLiteral("The clipboard holds %1, not '%2', after %3 s")
                               .arg(quoted(clipboard.text), m_text, QString::number(m_seconds)));
}

void ExpectFile::declare(Arguments& arguments)
{
    arguments.text("PATH", m_path, "the file, or folder", Completion::FileName);
    arguments.text("--contains TEXT", m_text, "a text in it, with * and ?, or /REGEX/");
    arguments.timeout(m_seconds, "the timeout in seconds; 5 by default");
}

void ExpectFile::check()
{
    if (m_path.isEmpty())
        throw usageFailure(QStringLiteral("'expect-file' needs the name of a file"));
    if (!m_text)
        return;
    const bool isExpression
        = m_text->size() > 2 && m_text->startsWith(QLatin1Char('/')) && m_text->endsWith(QLatin1Char('/'));
    m_pattern = isExpression ? TextPattern(*m_text)
                             : TextPattern::fromWildcards(QLatin1Char('*') + *m_text + QLatin1Char('*'));
}

bool ExpectFile::isMet() const
{
    const QFileInfo info(m_path);
    if (!info.exists() || !m_pattern)
        return info.exists();
    constexpr qint64 mostBytes = 64 << 20;
    QFile file(m_path);
    // Opening a FIFO would block.
    return info.isFile() && file.open(QIODevice::ReadOnly)
        && m_pattern->matches(QString::fromUtf8(file.read(mostBytes)));
}

QString ExpectFile::complaint() const
{
    const QFileInfo info(m_path);
    if (!info.exists())
        return QStringLiteral("There is no file '%1'").arg(m_path);
    if (!info.isFile() || !info.isReadable())
        return QStringLiteral("'%1' is not a file that can be read").arg(m_path);
    return QStringLiteral("The file '%1', with %2 bytes, does not contain '%3'")
        .arg(m_path, QString::number(info.size()), *m_text);
}

void ExpectFile::run(Session& session) const
{
    FolderWatch watch(QFileInfo(m_path).absolutePath());
    const auto isThere = [&] {
        watch.take();
        return isMet();
    };
    if (!waitUntil(session, m_seconds, watch.fileDescriptor(), isThere))
        throw operationFailure(QStringLiteral("%1 after %2 s").arg(complaint(), QString::number(m_seconds)));
}

} // namespace Zendra::Runner
