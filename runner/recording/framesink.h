#pragma once

#include <memory>

#include <QImage>
#include <QRect>
#include <QString>

namespace Zendra::Runner
{

/// A file or folder for the pictures of a recording.
///
/// Times are milliseconds since the first picture. Failures are thrown, as Failure or as std::runtime_error;
/// after one the file keeps what it has.
class FrameSink
{
public:
    FrameSink() = default;
    virtual ~FrameSink();

    /// `frame` (Format_RGB32) is the screen from `time` on. `changed` contains all changed pixels and is not
    /// empty. Times only increase.
    virtual void show(const QImage& frame, const QRect& changed, qint64 time) = 0;
    /// Nothing has changed until `time`. For files that must be complete even when this process is killed.
    virtual void still(qint64 time);
    /// Begins a chapter. For files that can have some.
    virtual void addChapter(const QString& title, qint64 time);
    /// Completes the file.
    virtual void finish(qint64 endTime) = 0;
    /// In bytes, so far.
    virtual qint64 size() const = 0;

private:
    Q_DISABLE_COPY(FrameSink)
};

/// The sink for a file name: a movie, a GIF, or a folder of PNG files, which is created or emptied now.
/// `isLossless` is for movies.
std::unique_ptr<FrameSink> makeFrameSink(const QString& fileName, bool isLossless = false);

/// The frame in a picture of `size`, for files whose pictures all have one size: larger ones are scaled down,
/// smaller ones are not scaled; the rest is black.
QImage fitted(const QImage& frame, const QSize& size);

} // namespace Zendra::Runner
