#pragma once

#include <memory>

#include <QByteArray>
#include <QSize>
#include <QString>

#include <zendra/export.h>

struct AVCodecParameters;

namespace Zendra::Video
{

/// Writes H.264 packets (ITU-T H.264, Annex B), or FFV1 ones, into a movie file, in fragments: whatever ends
/// the process, the file plays up to the last of them.
///
/// Times are milliseconds since the beginning of the movie and only increase. Failures are thrown as
/// std::runtime_error; after one the file keeps what was written before.
class ZENDRA_EXPORT MovieWriter
{
public:
    /// The signature of the entry function `zendraMovieWriter` that the module exports with C linkage.
    using Factory = MovieWriter* (*)(const QString& fileName);

    MovieWriter() = default;
    virtual ~MovieWriter();

    /// Begins the file for pictures of that size, in pixels. `parameters` are the encoder's, which keeps
    /// them; null stands for H.264.
    virtual void start(const QSize& frameSize, const AVCodecParameters* parameters = nullptr) = 0;
    /// Adds the picture shown from `time` on. The first one is a key frame that carries the parameter sets.
    virtual void append(const QByteArray& accessUnit, bool isKeyFrame, long long time) = 0;
    /// Completes the file; its last picture is shown until `endTime`.
    virtual void finish(long long endTime) = 0;
    /// How large the file is so far, in bytes.
    virtual qint64 size() const = 0;
    /// Begins a chapter at `time`. An .mp4 file whose size cannot change, such as a pipe, gets none, and
    /// others have room for the first 255, or 8 KB of titles.
    virtual void addChapter(const QString& title, long long time) = 0;

private:
    Q_DISABLE_COPY(MovieWriter)
};

/// Opens `fileName`, which ends in .mp4 (ISO/IEC 14496-12) or .mkv (Matroska), and empties it. Loads the
/// module `zendravideo`.
ZENDRA_EXPORT std::unique_ptr<MovieWriter> createMovieWriter(const QString& fileName);

/// The name of the H.264 encoder that compressors use, as libavcodec calls it ("libx264"). Loads the module;
/// throws std::runtime_error when the module is missing or there is no encoder.
ZENDRA_EXPORT QString encoderName();

/// The signature of the entry function `zendraVideoEncoderName` that the module exports with C linkage. Null
/// when libavcodec has no H.264 encoder.
using EncoderNameFunction = const char* (*)();

} // namespace Zendra::Video
