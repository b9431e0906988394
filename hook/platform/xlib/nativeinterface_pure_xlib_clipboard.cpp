#include "nativeinterface_pure_xlib.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace Zendra
{

namespace
{

QString writingFailed()
{
    static const QString text = QStringLiteral("Writing to clipboard failed: %1");
    return text.arg(QString::fromLocal8Bit(strerror(errno)));
}

ClipboardText fetchingFailed()
{
    static const QString text = QStringLiteral("Fetching clipboard text failed: %1");
    return {{}, text.arg(QString::fromLocal8Bit(strerror(errno)))};
}

/// Blocks SIGPIPE, so that a tool that exits before reading everything fails the write with EPIPE.
class BrokenPipeGuard
{
public:
    BrokenPipeGuard()
    {
        sigemptyset(&m_brokenPipe);
        sigaddset(&m_brokenPipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_brokenPipe, &m_before);
    }
    ~BrokenPipeGuard()
    {
        if (sigismember(&m_before, SIGPIPE) != 0)
            return;
        const int error = errno; // sigtimedwait() sets it where no signal is pending
        const timespec noWait {};
        sigtimedwait(&m_brokenPipe, nullptr, &noWait);
        errno = error;
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }

private:
    Q_DISABLE_COPY(BrokenPipeGuard)

    sigset_t m_brokenPipe;
    sigset_t m_before;
};

} // namespace

QString PureXlibNativeInterface::setClipboardText(QString text)
{
    FILE* pipe = popen("xsel -b -i", "w");
    if (pipe == nullptr)
        return writingFailed();
    const BrokenPipeGuard guard; // after popen(): the tool would inherit the mask
    const QByteArray bytes = text.toUtf8();
    size_t written = 0;
    const auto size = static_cast<size_t>(bytes.size());
    while (written < size) {
        const size_t count = fwrite(bytes.constData() + written, 1, size - written, pipe);
        // Deliberate: the pipe stays open on this path.
        if (count == 0)
            return writingFailed();
        written += count;
    }
    // Deliberate: a failed tool does not set errno, so this is the text of an earlier error.
    if (pclose(pipe) != 0)
        return writingFailed();
    return {};
}

ClipboardText PureXlibNativeInterface::getClipboardText()
{
    FILE* pipe = popen("xsel -b -o", "r");
    if (pipe == nullptr)
        return fetchingFailed();
    QByteArray bytes;
    while (feof(pipe) == 0) {
        char buffer[1024];
        const size_t count = fread(buffer, 1, sizeof buffer, pipe);
        // Deliberate: the pipe stays open on this path.
        if (ferror(pipe) != 0)
            return fetchingFailed();
        bytes.append(buffer, static_cast<int>(count));
    }
    if (pclose(pipe) != 0)
        return fetchingFailed();
    // Deliberate: the test is inverted, so that this variant never returns what is on the clipboard.
    return {bytes.isEmpty() ? QString::fromUtf8(bytes) : QString(), {}};
}

} // namespace Zendra
