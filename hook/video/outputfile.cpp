#include "outputfile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>

namespace Zendra::Video
{

OutputFile::OutputFile(const QString& fileName)
    : m_fileName(fileName)
{
    // The buffer and the context first: a constructor that throws closes no descriptor.
    constexpr int bufferSize = 64 * 1024;
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    if (buffer == nullptr)
        throw std::bad_alloc();
    // FFmpeg 7 made the data to write constant.
    const auto writeCallback = [](void* self, auto* data, int size) {
        auto& file = *static_cast<OutputFile*>(self);
        return file.write(data, static_cast<size_t>(size)) ? size : AVERROR(file.m_error);
    };
    m_io.reset(avio_alloc_context(buffer, bufferSize, 1, this, nullptr, writeCallback, &seekCallback));
    if (m_io == nullptr) {
        av_free(buffer);
        throw std::bad_alloc();
    }
    // A pipe that nobody reads from would be waited for, and no signal would end that.
    m_descriptor = open(
        QFile::encodeName(fileName).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666);
    struct stat status {
    };
    if (m_descriptor < 0 || fcntl(m_descriptor, F_SETFL, 0) != 0 || fstat(m_descriptor, &status) != 0)
        m_error = errno;
    else if (!S_ISREG(status.st_mode))
        m_io->seekable = 0;
    if (m_descriptor < 0)
        flush();
}

OutputFile::~OutputFile()
{
    if (m_descriptor >= 0)
        close(m_descriptor);
}

void OutputFile::flush()
{
    avio_flush(m_io.get());
    if (m_error != 0)
        throw std::runtime_error(
            errorText(m_error == ENXIO ? "nobody reads from this pipe" : std::strerror(m_error)));
}

std::string OutputFile::errorText(const std::string& reason) const
{
    return "Cannot write '" + m_fileName.toStdString() + "': " + reason;
}

int64_t OutputFile::seekCallback(void* self, int64_t offset, int whence)
{
    auto& file = *static_cast<OutputFile*>(self);
    if (whence == AVSEEK_SIZE)
        return file.m_size;
    const off_t position = lseek(file.m_descriptor, offset, whence & ~AVSEEK_FORCE);
    if (position < 0)
        return AVERROR(errno);
    file.m_position = position;
    return position;
}

bool OutputFile::write(const uint8_t* data, size_t size)
{
    while (size > 0 && m_error == 0) {
        const ssize_t written = ::write(m_descriptor, data, size);
        if (written < 0) {
            if (errno != EINTR)
                m_error = errno;
            continue;
        }
        data += written;
        size -= static_cast<size_t>(written);
        m_position += written;
        m_size = std::max(m_size, m_position);
    }
    return m_error == 0;
}

} // namespace Zendra::Video
