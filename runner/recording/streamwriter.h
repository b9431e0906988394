#pragma once

#include <functional>
#include <memory>

#include <QByteArray>
#include <QString>

#include <zendra/outputfile.h>
#include <zendra/video/screenrecordformat.h>

#include "framesink.h"
#include "h264stream.h"
#include "rledecoder.h"

namespace Zendra::Video
{
class MovieWriter;
} // namespace Zendra::Video

namespace Zendra::Runner
{

/// Writes the segments of a recording to a file.
///
/// `now` is in milliseconds since the first picture. Failures are thrown, as Failure or as
/// std::runtime_error; after one the file keeps what it has.
class StreamWriter
{
public:
    StreamWriter() = default;
    virtual ~StreamWriter();

    virtual void take(const QByteArray& segment, qint64 now) = 0;
    /// To be called about twice a second.
    virtual void still(qint64 now);
    /// Begins a chapter, in a movie.
    virtual void addChapter(const QString& title, qint64 now);
    /// Completes the file of a recording that lasted until `now`.
    virtual void finish(qint64 now) = 0;
    /// The number of pictures. H.264 streams repeat one from time to time while nothing changes.
    virtual int frames() const = 0;
    /// The size of the file so far, in bytes.
    virtual qint64 size() const = 0;

private:
    Q_DISABLE_COPY(StreamWriter)
};

/// Opens the file for a stream of that format: a movie, for the RLE format also a GIF, a folder or the stream
/// itself.
std::unique_ptr<StreamWriter> makeStreamWriter(
    const QString& fileName, Video::ScreenRecordFormat format, bool isLossless = false);

/// Writes an RLE stream as it is, in whole updates.
class RleStreamWriter : public StreamWriter
{
public:
    explicit RleStreamWriter(const QString& fileName);

    void take(const QByteArray& segment, qint64 now) override;
    void finish(qint64 now) override;
    int frames() const override { return m_frames; }
    qint64 size() const override { return m_file.size(); }

private:
    void updateDone(const RleUpdate& update);

    void writeComplete();

    OutputFile m_file;
    RleDecoder m_decoder;
    QByteArray m_pending;  ///< bytes of an incomplete update, not yet in the file
    qint64 m_complete = 0; ///< the end of the last whole update in the stream
    qint64 m_firstTime = 0;
    int m_frames = 0;
};

/// Decodes an RLE stream into pictures.
class PictureWriter : public StreamWriter
{
public:
    /// `beforePicture` is called for every picture with the number of bytes decoded, and may throw.
    explicit PictureWriter(
        std::unique_ptr<FrameSink> sink, std::function<void(qint64)> beforePicture = [](qint64) {});

    void take(const QByteArray& segment, qint64 now) override;
    void still(qint64 now) override;
    void addChapter(const QString& title, qint64 now) override { m_sink->addChapter(title, now); }
    void finish(qint64 now) override;
    int frames() const override { return m_frames; }
    qint64 size() const override { return m_sink->size(); }
    /// From the first picture to the end of the stream so far, in milliseconds.
    qint64 duration() const { return m_decoder.time() - m_firstTime; }
    /// The number of bytes decoded.
    qint64 offset() const { return m_decoder.offset(); }
    /// Throws when the stream so far ends in the middle of a message.
    void requireEnd() const { m_decoder.requireEnd(); }

private:
    void updateDone(const RleUpdate& update);

    std::unique_ptr<FrameSink> m_sink;
    const std::function<void(qint64)> m_beforePicture;
    RleDecoder m_decoder;
    qint64 m_firstTime = 0;
    int m_frames = 0;
};

/// Writes the packets of an H.264 stream to a movie, with the times when they are received.
class PacketWriter : public StreamWriter
{
public:
    explicit PacketWriter(const QString& fileName);
    ~PacketWriter() override;

    void take(const QByteArray& segment, qint64 now) override;
    void addChapter(const QString& title, qint64 now) override;
    void finish(qint64 now) override;
    int frames() const override { return m_frames; }
    qint64 size() const override;

private:
    qint64 later();

    std::unique_ptr<Video::MovieWriter> m_writer;
    H264Stream m_stream;
    qint64 m_now = 0;
    qint64 m_lastTime = -1;
    int m_frames = 0;
};

} // namespace Zendra::Runner
