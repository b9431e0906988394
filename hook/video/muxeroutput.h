#pragma once

#include <string>

#include <zendra/outputfile.h>

#include "ffmpeg.h"

namespace Zendra::Video
{

/// The file that a muxer writes into. Muxers do not check every result, so the first error is kept.
class MuxerOutput
{
public:
    /// Throws std::runtime_error, as OutputFile does.
    explicit MuxerOutput(const QString& fileName);

    AVIOContext* io() const { return m_io.get(); }
    qint64 size() const { return m_file.size(); }

    /// Writes what the buffer holds. Throws the first error of this file, each time. After an error the file
    /// ends with what was flushed before.
    void flush();
    bool isSeekable() const { return m_file.isSeekable(); }
    /// What was written before the first call, if it was written in order; empty otherwise.
    QByteArray takeBeginning();
    /// Writes these bytes over the file's first ones, and goes on at its end.
    void replaceBeginning(const QByteArray& bytes);
    /// The text for an error that is not the system's.
    std::string errorText(const std::string& reason) const { return m_file.errorText(reason); }

private:
    Q_DISABLE_COPY(MuxerOutput)

    static int64_t seekCallback(void* self, int64_t offset, int whence);
    bool write(const uint8_t* data, int size);

    OutputFile m_file;
    std::string m_error;
    QByteArray m_beginning;
    bool m_keepsBeginning = true;
    FFmpegPointer<AVIOContext> m_io;
};

} // namespace Zendra::Video
