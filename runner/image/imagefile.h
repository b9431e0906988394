#pragma once

#include <QByteArray>
#include <QString>

class QImage;

namespace Zendra::Runner
{

/// The image as a PNG file (ISO/IEC 15948).
QByteArray toPng(const QImage& image);

/// Reads a PNG file's content, as Format_ARGB32; `fileName` is for the text of the Failure that it throws.
QImage fromPng(const QByteArray& content, const QString& fileName);

/// Throws a Failure of status WrongUsage unless images can be written to a file with this extension.
void requireImageName(const QString& fileName);

/// Writes the image in the format of the file extension: PNG, JPEG or BMP. A file is replaced atomically; a
/// device or a pipe is written to. Throws a Failure.
void writeImage(const QImage& image, const QString& fileName);

} // namespace Zendra::Runner
