#include "outputfile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QFile>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

/// What begins and ends on its multiples, in memory and in the file, may be written past the page cache.
constexpr qint64 blockSize = 4096;
/// The bytes from which on waiting for the disk is cheaper than the page cache.
constexpr qint64 worthTheWait = 1 << 20;
/// Larger writes get larger pieces of memory, which are likely to be fresh and cost several times as much.
constexpr qint64 cachedAtOnce = 1 << 16;
/// Enough for a full screen at 25 pictures a second, with time left to make them.
constexpr qint64 bytesPerMicrosecond = 300;
constexpr qint64 longestLag = 250'000; ///< microseconds

/// Where the block begins that a position is in.
qint64 blockOf(qint64 position)
{
    return position / blockSize * blockSize;
}

} // namespace

OutputFile::OutputFile(const QString& fileName)
    : m_fileName(fileName)
    // A pipe that nobody reads from would be waited for, and no signal would end that.
    , m_fileDescriptor(open(QFile::encodeName(fileName).constData(),
          O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666))
{
    if (m_fileDescriptor < 0)
        refuse();
    fcntl(m_fileDescriptor, F_SETFL, 0);
    struct stat status {
    };
    // To a pipe, O_DIRECT means something else.
    m_mayWriteDirectly = fstat(m_fileDescriptor, &status) == 0 && S_ISREG(status.st_mode);
}

OutputFile::~OutputFile()
{
    if (m_fileDescriptor >= 0)
        ::close(m_fileDescriptor);
}

void OutputFile::write(const QByteArray& bytes)
{
    put(bytes.constData(), bytes.size());
    m_heldEnd = m_size;
    m_heldStart = blockOf(m_size);
}

void OutputFile::hold(const QByteArray& bytes)
{
    const qint64 end = m_heldEnd + bytes.size();
    m_held.require(static_cast<std::size_t>(end - m_heldStart));
    std::copy(bytes.begin(), bytes.end(), held(m_heldEnd));
    m_heldEnd = end;
}

/// The blocks at both ends go through the page cache, since what is before and behind them does.
void OutputFile::writeHeld(qint64 end)
{
    end = std::min(end, m_heldEnd);
    if (end <= m_size)
        return;
    const qint64 firstBlock = blockOf(m_size + blockSize - 1);
    const qint64 lastBlock = blockOf(end);
    if (m_mayWriteDirectly && lastBlock - firstBlock >= worthTheWait) {
        put(held(m_size), firstBlock - m_size);
        putDirectly(lastBlock);
    }
    put(held(m_size), end - m_size);
    // In memory what is held lies in blocks as it does in the file.
    const qint64 start = blockOf(m_size);
    std::memmove(m_held.data(), held(start), static_cast<std::size_t>(m_heldEnd - start));
    m_heldStart = start;
}

void OutputFile::put(const char* bytes, qint64 count)
{
    while (count > 0) {
        const ssize_t written
            = ::write(m_fileDescriptor, bytes, static_cast<std::size_t>(std::min(count, cachedAtOnce)));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            refuse();
        bytes += written;
        count -= written;
        m_size += written;
    }
}

/// Writes whole blocks to the disk, past the page cache: fresh pages for what nobody reads soon may take more
/// time than making the pictures. What does not work is left to put(), which says why.
void OutputFile::putDirectly(qint64 end)
{
    QElapsedTimer timer;
    timer.start();
    const qint64 count = end - m_size;
    ssize_t written = -1;
    if (fcntl(m_fileDescriptor, F_SETFL, O_DIRECT) == 0) {
        written = ::write(m_fileDescriptor, held(m_size), static_cast<std::size_t>(count));
        fcntl(m_fileDescriptor, F_SETFL, 0);
    }
    m_size += std::max<ssize_t>(written, 0);
    // Behind a slow disk pictures would be lost that the page cache has room for.
    m_lag = std::max<qint64>(0, m_lag + timer.nsecsElapsed() / 1000 - count / bytesPerMicrosecond);
    m_mayWriteDirectly = written == count && m_lag < longestLag;
}

void OutputFile::close()
{
    if (::close(std::exchange(m_fileDescriptor, -1)) != 0)
        refuse();
}

void OutputFile::refuse() const
{
    throw cannotWrite(
        m_fileName, errno == ENXIO ? QStringLiteral("nobody reads from this pipe") : qt_error_string(errno));
}

} // namespace Zendra::Runner
