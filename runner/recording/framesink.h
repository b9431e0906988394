#pragma once

#include <memory>

#include <QImage>
#include <QRect>
#include <QString>

namespace Zendra::Runner
{

/// A file, or a folder, that the pictures of a recording go to.
///
/// Times are milliseconds since the first picture. Failures are thrown, as Failure or as std::runtime_error;
/// after one the file keeps what it has.
class FrameSink
{
public:
    FrameSink() = default;
    virtual ~FrameSink();

    /// The screen looks like `frame` (Format_RGB32) from `time` on. `changed` encloses what is not as it was,
    /// and is not empty. Times only grow.
    virtual void show(const QImage& frame, const QRect& changed, qint64 time) = 0;
    /// Nothing has changed until `time`. For files that should say so even when this process is killed.
    virtual void still(qint64 time);
    /// Completes the file.
    virtual void finish(qint64 endTime) = 0;
    /// In bytes, so far.
    virtual qint64 size() const = 0;

private:
    Q_DISABLE_COPY(FrameSink)
};

/// The sink that the name's ending tells: a movie, a GIF, or a folder of PNG files. It is made, or emptied,
/// at once. `isLossless` is for movies.
std::unique_ptr<FrameSink> makeFrameSink(const QString& fileName, bool isLossless = false);

/// The frame as a picture of `size`, for files whose pictures have one size: what is larger is shrunk to fit,
/// what is smaller keeps its sharp pixels; the rest is black.
QImage fitted(const QImage& frame, const QSize& size);

} // namespace Zendra::Runner
