#include "framesink.h"

#include <QPainter>

#include "cli/failure.h"
#include "foldersink.h"
#include "gifsink.h"
#include "moviesink.h"
#include "recordingfile.h"

namespace Zendra::Runner
{

FrameSink::~FrameSink() = default;

void FrameSink::still(qint64) { }

void FrameSink::addChapter(const QString&, qint64) { }

std::unique_ptr<FrameSink> makeFrameSink(const QString& fileName, bool isLossless)
{
    switch (fileKind(fileName)) {
    case FileKind::Movie:
        return std::make_unique<MovieSink>(fileName, isLossless);
    case FileKind::Gif:
        return std::make_unique<GifSink>(fileName);
    case FileKind::Folder:
        return std::make_unique<FolderSink>(fileName);
    case FileKind::RleStream:
    case FileKind::Unknown:
        break;
    }
    throw usageFailure(QStringLiteral("'%1' is not a movie, a GIF or a folder").arg(fileName));
}

QImage fitted(const QImage& frame, const QSize& size)
{
    if (frame.size() == size)
        return frame;
    const bool isTooLarge = frame.width() > size.width() || frame.height() > size.height();
    const QSize shown = isTooLarge ? frame.size().scaled(size, Qt::KeepAspectRatio) : frame.size();
    // Down to half the size the painter's filter sees each pixel, and needs no further picture.
    const bool isSmall = 2 * shown.width() < frame.width();
    QImage picture(size, QImage::Format_RGB32);
    picture.fill(Qt::black);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(
        QRect(QPoint((size.width() - shown.width()) / 2, (size.height() - shown.height()) / 2), shown),
        isSmall ? frame.scaled(shown, Qt::IgnoreAspectRatio, Qt::SmoothTransformation) : frame);
    return picture;
}

} // namespace Zendra::Runner
