#pragma once

#include <optional>
#include <vector>

#include <zendra/video/moviewriter.h>

#include "ffmpeg.h"
#include "mp4chapters.h"
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
    void addChapter(const QString& title, long long time) override;

private:
    Q_DISABLE_COPY(FFmpegMovieWriter)

    enum class State { Opened, Started, Writing, Finished, Failed };

    struct Chapter {
        QByteArray title;
        long long time;
    };

    [[noreturn]] void refuse();
    void appendChecked(const QByteArray& accessUnit, bool isKeyFrame, long long time);
    void finishChecked(long long endTime);
    void writeHeader(const QByteArray& accessUnit);
    void setH264Parameters(AVCodecParameters* codec, const QByteArray& accessUnit);
    void hold(const QByteArray& accessUnit, bool isKeyFrame, long long time);
    void writeHeld(long long until);
    void flushFragment();
    bool isMp4() const;
    void reserveChapterList();
    void writeChapterList();
    void passChaptersToMuxer(long long endTime);
    void check(int result);

    const AVOutputFormat* m_container;
    MuxerOutput m_file;
    FFmpegPointer<AVFormatContext> m_muxer;        ///< destroyed before the file
    FFmpegPointer<AVPacket> m_held;                ///< its times are milliseconds
    FFmpegPointer<AVCodecParameters> m_parameters; ///< of packets other than H.264; else null
    QSize m_frameSize;
    State m_state = State::Opened;
    long long m_flushedUntil = 0;
    std::vector<Chapter> m_chapters;
    std::optional<Mp4Chapters> m_chapterList; ///< where the file has room for one
};

} // namespace Zendra::Video
