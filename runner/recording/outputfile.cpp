#include "outputfile.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <QFile>

#include "../failure.h"

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

void OutputFile::write(const QByteArray& bytes)
{
    for (int written = 0; written < bytes.size();) {
        const ssize_t count = ::write(
            m_fileDescriptor, bytes.constData() + written, static_cast<std::size_t>(bytes.size() - written));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            refuse();
        written += static_cast<int>(count);
        m_size += count;
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
