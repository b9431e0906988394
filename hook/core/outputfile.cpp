#include <zendra/outputfile.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>

namespace Zendra
{

namespace
{

/// Empties a regular file that no other process has locked. Returns an errno.
int takeOver(int fileDescriptor, bool& isRegular)
{
    struct stat status = {};
    if (fcntl(fileDescriptor, F_SETFL, 0) != 0 || fstat(fileDescriptor, &status) != 0)
        return errno;
    isRegular = S_ISREG(status.st_mode);
    if (!isRegular)
        return 0;
    // Some file systems have no locks.
    if (flock(fileDescriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return errno;
    return ftruncate(fileDescriptor, 0) == 0 ? 0 : errno;
}

} // namespace

OutputFile::OutputFile(const QString& fileName)
    : m_fileName(fileName)
    // Without O_NONBLOCK a pipe that has no reader would block, and no signal would end that.
    , m_fileDescriptor(
          open(QFile::encodeName(fileName).constData(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666))
{
    if (m_fileDescriptor < 0)
        fail(errno);
    const int error = takeOver(m_fileDescriptor, m_isSeekable);
    if (error == 0)
        return;
    ::close(m_fileDescriptor);
    fail(error);
}

OutputFile::~OutputFile()
{
    if (m_fileDescriptor >= 0)
        ::close(m_fileDescriptor);
}

void OutputFile::write(const char* bytes, qint64 count)
{
    while (count > 0) {
        const ssize_t written = ::write(m_fileDescriptor, bytes, static_cast<std::size_t>(count));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0) {
            const int error = errno;
            if (m_isSeekable && ftruncate(m_fileDescriptor, m_committed) == 0) {
                m_size = m_committed;
                m_position = lseek(m_fileDescriptor, 0, SEEK_END);
            }
            fail(error);
        }
        bytes += written;
        count -= written;
        m_position += written;
        m_size = std::max(m_size, m_position);
    }
}

qint64 OutputFile::seek(qint64 offset, int whence)
{
    const off_t position = lseek(m_fileDescriptor, offset, whence);
    if (position >= 0)
        m_position = position;
    return position;
}

void OutputFile::close()
{
    if (::close(std::exchange(m_fileDescriptor, -1)) != 0)
        fail(errno);
}

std::string OutputFile::errorText(const std::string& reason) const
{
    return "Cannot write '" + m_fileName.toStdString() + "': " + reason;
}

void OutputFile::fail(int error) const
{
    if (error == ENXIO)
        throw std::runtime_error(errorText("nobody reads from this pipe"));
    if (error == EWOULDBLOCK)
        throw std::runtime_error(errorText("another process is writing it"));
    throw std::runtime_error(errorText(std::strerror(error)));
}

} // namespace Zendra
