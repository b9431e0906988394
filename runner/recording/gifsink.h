#pragma once

#include <functional>
#include <memory>
#include <string>

#include <zendra/outputfile.h>

#include "framesink.h"

struct GifFileType;

namespace Zendra::Runner
{

/// Writes the pictures as an animation that repeats, at most ten a second.
/// Each picture contains the changed part, with a colour table of its own. The animation has the size of its
/// first picture.
class GifSink : public FrameSink
{
public:
    explicit GifSink(const QString& fileName);
    ~GifSink() override;

    void show(const QImage& frame, const QRect& changed, qint64 time) override;
    void finish(qint64 endTime) override;
    qint64 size() const override { return m_file.size(); }

private:
    struct CloseGif {
        void operator()(GifFileType* gif) const;
    };

    static int write(GifFileType* gif, const unsigned char* bytes, int count);
    void start(const QSize& size);
    void writePending(qint64 endTime);
    void writePicture(const QRect& area, int delay);
    void writePause(int delay);
    void writeDelay(int delay);
    /// `fillLine(y, line)` writes the colours' indices of a row.
    template <typename FillLine>
    void writeImage(const QRect& area, const std::vector<QRgb>& colours, FillLine fillLine);
    /// Throws when giflib reported a failure.
    void require(bool done);

    OutputFile m_file;
    std::string m_writeError; ///< exceptions must not pass through giflib, which is C
    std::unique_ptr<GifFileType, CloseGif> m_gif;
    QImage m_written; ///< what the animation shows so far
    QImage m_pending; ///< what it shows next
    QRect m_pendingArea;
    qint64 m_pendingTime = 0;
};

} // namespace Zendra::Runner
