#include "outputfile.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <QFile>

#include "cli/failure.h"

namespace Zendra::Runner
{

OutputFile::OutputFile(const QString& fileName)
    : m_fileName(fileName)
    // A pipe that nobody reads from would be waited for, and no signal would end that.
    , m_fileDescriptor(open(QFile::encodeName(fileName).constData(),
          O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666))
{
    if (m_fileDescriptor < 0)
        refuse();
    fcntl(m_fileDescriptor, F_SETFL, 0);
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
        if (written < 0)
            refuse();
        bytes += written;
        count -= written;
        m_size += written;
    }
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
