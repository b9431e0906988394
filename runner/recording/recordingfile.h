#pragma once

#include <optional>

#include <QString>

#include <zendra/video/screenrecordformat.h>

namespace Zendra::Runner
{

enum class FileKind { Unknown, Movie, RleStream, Gif, Folder };

/// What a file's name says about what is in it, or should be.
///
/// A folder is one that is there, or a name that ends in a slash or has no ending.
FileKind fileKind(const QString& fileName);

/// The format to record in for a file of that name: the one wanted, or the best one. Throws a Failure of
/// status WrongUsage for a file that cannot take it.
Video::ScreenRecordFormat recordingFormat(
    const QString& fileName, std::optional<Video::ScreenRecordFormat> wanted);

/// Throws a Failure of status WrongUsage unless a lossless movie can go into a file of that name.
void requireLosslessMovie(const QString& fileName);

} // namespace Zendra::Runner
