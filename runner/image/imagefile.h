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

/// Whether images can be written to a file with this name's ending; throws a Failure of status WrongUsage if
/// not.
void requireImageName(const QString& fileName);

/// Writes the image in the format that the file's ending names: PNG, JPEG or BMP. A file is replaced as a
/// whole or not at all; a device or a pipe is written to. Throws a Failure.
void writeImage(const QImage& image, const QString& fileName);

} // namespace Zendra::Runner
