#include "muxeroutput.h"

#include <cerrno>
#include <new>
#include <stdexcept>
#include <utility>

namespace Zendra::Video
{

MuxerOutput::MuxerOutput(const QString& fileName)
    : m_file(fileName)
{
    constexpr int bufferSize = 64 * 1024;
    auto* buffer = static_cast<unsigned char*>(av_malloc(bufferSize));
    if (buffer == nullptr)
        throw std::bad_alloc();
    // FFmpeg 7 made the data to write constant.
    const auto writeCallback = [](void* self, auto* data, int size) {
        return static_cast<MuxerOutput*>(self)->write(data, size) ? size : AVERROR(EIO);
    };
    m_io.reset(avio_alloc_context(buffer, bufferSize, 1, this, nullptr, writeCallback, &seekCallback));
    if (m_io == nullptr) {
        av_free(buffer);
        throw std::bad_alloc();
    }
    if (!m_file.isSeekable())
        m_io->seekable = 0;
}

void MuxerOutput::flush()
{
    avio_flush(m_io.get());
    if (!m_error.empty())
        throw std::runtime_error(m_error);
    m_file.commit();
}

QByteArray MuxerOutput::takeBeginning()
{
    m_keepsBeginning = false;
    return std::exchange(m_beginning, {});
}

void MuxerOutput::replaceBeginning(const QByteArray& bytes)
{
    flush();
    m_file.seek(0, SEEK_SET);
    m_file.write(bytes);
    m_file.seek(0, SEEK_END);
}

int64_t MuxerOutput::seekCallback(void* self, int64_t offset, int whence)
{
    OutputFile& file = static_cast<MuxerOutput*>(self)->m_file;
    if (whence == AVSEEK_SIZE)
        return file.size();
    static_cast<MuxerOutput*>(self)->takeBeginning();
    const qint64 position = file.seek(offset, whence & ~AVSEEK_FORCE);
    return position < 0 ? AVERROR(errno) : position;
}

bool MuxerOutput::write(const uint8_t* data, int size)
{
    if (!m_error.empty())
        return false;
    try {
        m_file.write(reinterpret_cast<const char*>(data), size);
        if (m_keepsBeginning)
            m_beginning.append(reinterpret_cast<const char*>(data), size);
    } catch (const std::runtime_error& error) {
        m_error = error.what();
    }
    return m_error.empty();
}

} // namespace Zendra::Video
