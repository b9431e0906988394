#include "remotescreenshot.h"

#include <algorithm>
#include <cmath>

#include <sys/stat.h>
#include <unistd.h>

#include <protocol/dbusmessage.h>
#include <protocol/unixfd.h>

#include "image/limits.h"

namespace Zendra::Runner
{

namespace
{

constexpr int bytesPerPixel = 4;
constexpr int largestSize = 65535; ///< pixels; the X protocol has no larger ones

struct Pixels {
    DBus::UnixFd file;
    int width;
    int height;
    int bytesPerLine;
};

bool areValid(const Pixels& pixels)
{
    return pixels.file.isValid() && pixels.width > 0 && pixels.width <= largestSize && pixels.height > 0
        && pixels.height <= largestSize && qint64(pixels.width) * pixels.height <= mostScreenPixels
        && pixels.bytesPerLine >= pixels.width * bytesPerPixel;
}

/// The size of a regular file; -1 for other files, whose reads may block.
qint64 fileSize(int file)
{
    struct stat status = {};
    const bool isFile = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? qint64(status.st_size) : -1;
}

/// Fills `size` bytes; false when the file has fewer.
bool readBytes(int file, uchar* bytes, qint64 size, qint64 offset)
{
    while (size > 0) {
        const ssize_t count = pread(file, bytes, static_cast<size_t>(size), offset);
        if (count <= 0)
            return false;
        bytes += count;
        size -= count;
        offset += count;
    }
    return true;
}

/// A copy of the pixels; a null image when they cannot be read.
QImage copy(const Pixels& pixels)
{
    const qint64 lineSize = qint64(pixels.width) * bytesPerPixel;
    // Checked before memory is allocated for it. Not mapped: the application could truncate the file later.
    if (qint64(pixels.bytesPerLine) * (pixels.height - 1) + lineSize > fileSize(pixels.file.number()))
        return {};
    QImage image(pixels.width, pixels.height, QImage::Format_RGB32);
    if (image.isNull())
        return {};
    const int file = pixels.file.number();
    if (image.bytesPerLine() == pixels.bytesPerLine)
        return readBytes(file, image.bits(), image.sizeInBytes(), 0) ? image : QImage();
    for (int y = 0; y < pixels.height; ++y) {
        if (!readBytes(file, image.scanLine(y), lineSize, qint64(pixels.bytesPerLine) * y))
            return {};
    }
    return image;
}

/// The fourth byte is undefined in the message; in an image it is the alpha channel.
void makeOpaque(QImage& image)
{
    constexpr QRgb opaqueBlack = 0xff000000U;
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        const bool isOpaque
            = std::all_of(line, line + image.width(), [](QRgb pixel) { return pixel >= opaqueBlack; });
        if (!isOpaque)
            std::transform(line, line + image.width(), line, [](QRgb pixel) { return pixel | opaqueBlack; });
    }
}

} // namespace

Screenshot toScreenshot(const QVariantList& values)
{
    const Pixels pixels {
        values.at(0).value<DBus::UnixFd>(), values.at(1).toInt(), values.at(2).toInt(), values.at(3).toInt()};
    Screenshot screenshot;
    if (areValid(pixels))
        screenshot.image = copy(pixels);
    if (screenshot.image.isNull()) {
        screenshot.errorText = QStringLiteral("The application sent no valid picture of %1x%2 pixels")
                                   .arg(pixels.width)
                                   .arg(pixels.height);
        return screenshot;
    }
    makeOpaque(screenshot.image);
    const double scale = values.at(4).toDouble();
    screenshot.scale = std::isfinite(scale) && scale > 0.0 ? scale : 1.0;
    return screenshot;
}

} // namespace Zendra::Runner
