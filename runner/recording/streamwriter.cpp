#include "streamwriter.h"

#include <algorithm>
#include <array>
#include <utility>

#include <QtEndian>

#include <zendra/video/moviewriter.h>

#include "recordingfile.h"

namespace Zendra::Runner
{

StreamWriter::~StreamWriter() = default;

void StreamWriter::still(qint64) { }

void StreamWriter::addChapter(const QString&, qint64) { }

std::unique_ptr<StreamWriter> makeStreamWriter(
    const QString& fileName, Video::ScreenRecordFormat format, bool isLossless)
{
    if (format == Video::H264Format)
        return std::make_unique<PacketWriter>(fileName);
    if (fileKind(fileName) == FileKind::RleStream)
        return std::make_unique<RleStreamWriter>(fileName);
    return std::make_unique<PictureWriter>(makeFrameSink(fileName, isLossless));
}

RleStreamWriter::RleStreamWriter(const QString& fileName)
    : m_file(fileName)
    , m_decoder([this](const RleUpdate& update) { updateDone(update); }, RleDecoder::Wanted::Times)
{
}

/// If the process is killed between two segments of an update, the file still ends with a whole one.
void RleStreamWriter::take(const QByteArray& segment, qint64)
{
    m_pending += segment;
    m_decoder.decode(segment);
    writeComplete();
}

void RleStreamWriter::writeComplete()
{
    const auto count = static_cast<int>(m_complete - m_file.size());
    if (count <= 0)
        return;
    m_file.write(m_pending.constData(), count);
    m_file.commit();
    m_pending = m_pending.mid(count); // rarely more than a segment
}

/// Only updates have times, so an update without rectangles marks the end of the last picture.
void RleStreamWriter::finish(qint64 now)
{
    writeComplete();
    const qint64 untold = m_firstTime + now - m_decoder.time();
    if (m_frames > 0 && untold > 0) {
        constexpr quint32 updateMessage = 2;
        std::array<quint32, 4> header {updateMessage, 0, 0, static_cast<quint32>(untold)};
        for (quint32& word : header)
            word = qToBigEndian(word);
        m_file.write(QByteArray(reinterpret_cast<const char*>(header.data()), sizeof header));
    }
    m_file.close();
}

void RleStreamWriter::updateDone(const RleUpdate& update)
{
    m_complete = update.end;
    if (!update.changed.isEmpty() && ++m_frames == 1)
        m_firstTime = update.time;
}

PictureWriter::PictureWriter(std::unique_ptr<FrameSink> sink, std::function<void(qint64)> beforePicture)
    : m_sink(std::move(sink))
    , m_beforePicture(std::move(beforePicture))
    , m_decoder([this](const RleUpdate& update) { updateDone(update); })
{
}

void PictureWriter::take(const QByteArray& segment, qint64)
{
    m_decoder.decode(segment);
}

void PictureWriter::still(qint64 now)
{
    m_sink->still(now);
}

void PictureWriter::finish(qint64 now)
{
    m_sink->finish(now);
}

void PictureWriter::updateDone(const RleUpdate& update)
{
    if (update.changed.isEmpty())
        return;
    m_beforePicture(update.end);
    if (++m_frames == 1)
        m_firstTime = update.time;
    m_sink->show(update.frame, update.changed, update.time - m_firstTime);
}

PacketWriter::PacketWriter(const QString& fileName)
    : m_writer(Video::createMovieWriter(fileName))
    , m_stream({[this](const QSize& frameSize) { m_writer->start(frameSize); },
          [this](const QByteArray& accessUnit, bool isKeyFrame) {
              m_writer->append(accessUnit, isKeyFrame, later());
              ++m_frames;
          }})
{
}

PacketWriter::~PacketWriter() = default;

void PacketWriter::take(const QByteArray& segment, qint64 now)
{
    m_now = now;
    m_stream.parse(segment);
}

void PacketWriter::finish(qint64 now)
{
    m_now = now;
    if (m_frames > 0)
        m_writer->finish(later());
}

void PacketWriter::addChapter(const QString& title, qint64 now)
{
    m_writer->addChapter(title, now);
}

qint64 PacketWriter::size() const
{
    return m_writer->size();
}

/// Timestamps must increase, but two packets may be received within a millisecond.
qint64 PacketWriter::later()
{
    m_lastTime = std::max(m_now, m_lastTime + 1);
    return m_lastTime;
}

} // namespace Zendra::Runner
