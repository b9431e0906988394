#pragma once

#include <zendra/video/compressor.h>
#include <zendra/video/moviewriter.h>

#include "framesink.h"

namespace Zendra::Runner
{

/// Encodes the pictures into a movie with the size of the first one.
class MovieSink : public FrameSink, private Video::Compressor::PacketConsumer
{
public:
    MovieSink(const QString& fileName, bool isLossless);
    ~MovieSink() override;

    void show(const QImage& frame, const QRect& changed, qint64 time) override;
    void still(qint64 time) override;
    void addChapter(const QString& title, qint64 time) override { m_writer->addChapter(title, time); }
    void finish(qint64 endTime) override;
    qint64 size() const override { return m_writer->size(); }

private:
    void appendPacket(AVPacket* packet) override;
    qint64 later(qint64 time);

    const bool m_isLossless;
    std::unique_ptr<Video::MovieWriter> m_writer;
    std::unique_ptr<Video::RGBCompressor> m_compressor; ///< from the first picture on
    qint64 m_lastTime = -1;
};

} // namespace Zendra::Runner
