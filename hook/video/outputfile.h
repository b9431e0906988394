#pragma once

#include <string>

#include <QString>

#include "ffmpeg.h"

namespace Zendra::Video
{

/// A file that a muxer writes into. Muxers do not look at every result, so the first error is kept here.
class OutputFile
{
public:
    /// Creates or empties the file; throws std::runtime_error.
    explicit OutputFile(const QString& fileName);
    ~OutputFile();

    AVIOContext* io() const { return m_io.get(); }
    qint64 size() const { return m_size; }

    /// Hands what the buffer holds to the system. Throws the first error of this file, each time.
    void flush();
    /// The text for a failure that is not the system's.
    std::string errorText(const std::string& reason) const;

private:
    Q_DISABLE_COPY(OutputFile)

    static int64_t seekCallback(void* self, int64_t offset, int whence);
    bool write(const uint8_t* data, size_t size);

    QString m_fileName;
    int m_descriptor = -1;
    int m_error = 0; ///< errno of the first failure
    qint64 m_position = 0;
    qint64 m_size = 0;
    FFmpegPointer<AVIOContext> m_io;
};

} // namespace Zendra::Video
