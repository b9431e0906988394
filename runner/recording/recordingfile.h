#pragma once

#include <optional>

#include <QString>

#include <zendra/video/screenrecordformat.h>

namespace Zendra::Runner
{

enum class FileKind { Unknown, Movie, RleStream, Gif, Folder };

/// The kind of a file by its name.
///
/// A folder is an existing one, or a name that ends with a slash or has no extension.
FileKind fileKind(const QString& fileName);

/// The recording format for a file of that name: the one wanted, or the best one. Throws a Failure of status
/// WrongUsage if the file cannot hold it.
Video::ScreenRecordFormat recordingFormat(
    const QString& fileName, std::optional<Video::ScreenRecordFormat> wanted);

/// Throws a Failure of status WrongUsage unless the file can hold a lossless movie.
void requireLosslessMovie(const QString& fileName);

} // namespace Zendra::Runner
