#pragma once

#include <zendra/video/moviewriter.h>

#include "ffmpeg.h"
#include "muxeroutput.h"

namespace Zendra::Video
{

/// Writes movies with libavformat's muxers for fragmented MP4 and Matroska.
///
/// A picture is held back until its duration is known from the next one.
class FFmpegMovieWriter : public MovieWriter
{
public:
    explicit FFmpegMovieWriter(const QString& fileName);
    /// Completes the file if finish() was not called.
    ~FFmpegMovieWriter() override;

    void start(const QSize& frameSize, const AVCodecParameters* parameters) override;
    void append(const QByteArray& accessUnit, bool isKeyFrame, long long time) override;
    void finish(long long endTime) override;
    qint64 size() const override { return m_file.size(); }

private:
    Q_DISABLE_COPY(FFmpegMovieWriter)

    enum class State { Opened, Started, Writing, Finished, Failed };

    [[noreturn]] void refuse();
    void appendChecked(const QByteArray& accessUnit, bool isKeyFrame, long long time);
    void finishChecked(long long endTime);
    void writeHeader(const QByteArray& accessUnit);
    void setH264Parameters(AVCodecParameters* codec, const QByteArray& accessUnit);
    void hold(const QByteArray& accessUnit, bool isKeyFrame, long long time);
    void writeHeld(long long until);
    void flushFragment();
    void check(int result);

    const AVOutputFormat* m_container;
    MuxerOutput m_file;
    FFmpegPointer<AVFormatContext> m_muxer;        ///< destroyed before the file
    FFmpegPointer<AVPacket> m_held;                ///< its times are milliseconds
    FFmpegPointer<AVCodecParameters> m_parameters; ///< of packets other than H.264; else null
    QSize m_frameSize;
    State m_state = State::Opened;
    long long m_flushedUntil = 0;
};

} // namespace Zendra::Video
