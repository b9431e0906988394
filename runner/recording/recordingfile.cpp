#include "recordingfile.h"

#include <QFileInfo>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

struct Ending {
    const char* ending;
    FileKind kind;
};
constexpr Ending endings[] = {
    {"mp4", FileKind::Movie},
    {"mkv", FileKind::Movie},
    {"zrle", FileKind::RleStream},
    {"gif", FileKind::Gif},
};

} // namespace

FileKind fileKind(const QString& fileName)
{
    const QFileInfo info(fileName);
    if (fileName.endsWith(QLatin1Char('/')) || info.isDir())
        return FileKind::Folder;
    const QString ending = info.suffix().toLower();
    for (const Ending& known : endings) {
        if (ending == QLatin1String(known.ending))
            return known.kind;
    }
    return ending.isEmpty() && !fileName.isEmpty() ? FileKind::Folder : FileKind::Unknown;
}

Video::ScreenRecordFormat recordingFormat(
    const QString& fileName, std::optional<Video::ScreenRecordFormat> wanted)
{
    const FileKind kind = fileKind(fileName);
    if (kind != FileKind::Movie && kind != FileKind::RleStream) {
        const QString hint = kind == FileKind::Gif
            ? QStringLiteral(" ('zendra convert' makes a GIF of a .zrle file)")
            : QString();
        if (QFileInfo(fileName).isDir())
            throw usageFailure(
                QStringLiteral("'%1' is a folder; a recording goes into a file").arg(fileName));
        throw usageFailure(QStringLiteral("Unsupported file extension of '%1'; use .mp4, .mkv or .zrle%2")
                               .arg(fileName, hint));
    }
    if (kind == FileKind::RleStream && wanted == Video::H264Format) {
        throw usageFailure(
            QStringLiteral("A .zrle file holds the format rle, not h264; use .mp4 or .mkv for that"));
    }
    // Also for movies: the cost is the same, the timestamps are those of the source, and the screen may be
    // resized.
    return wanted.value_or(Video::RleFormat);
}

void requireLosslessMovie(const QString& fileName)
{
    if (QFileInfo(fileName).suffix().toLower() != QLatin1String("mkv")) {
        throw usageFailure(
            QStringLiteral("--lossless makes a .mkv movie, not '%1'; few players show it in another")
                .arg(fileName));
    }
}

} // namespace Zendra::Runner
