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
    const QImage shown
        = isTooLarge ? frame.scaled(size, Qt::KeepAspectRatio, Qt::SmoothTransformation) : frame;
    QImage picture(size, QImage::Format_RGB32);
    picture.fill(Qt::black);
    QPainter painter(&picture);
    painter.drawImage((size.width() - shown.width()) / 2, (size.height() - shown.height()) / 2, shown);
    return picture;
}

} // namespace Zendra::Runner
