#include "remotescreenshot.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include <sys/mman.h>
#include <unistd.h>

#include <dbus/message.h>

#include "mapping.h"

namespace Zendra::Runner
{

namespace
{

constexpr int bytesPerPixel = 4;
constexpr int largestSize = 65535; ///< pixels; the X protocol has no larger ones

struct Pixels {
    DBus::FileDescriptor file;
    int width;
    int height;
    int bytesPerLine;
};

bool areSensible(const Pixels& pixels)
{
    return pixels.file.isValid() && pixels.width > 0 && pixels.width <= largestSize && pixels.height > 0
        && pixels.height <= largestSize && pixels.bytesPerLine >= pixels.width * bytesPerPixel;
}

/// The pixels where they are; a null image where the application could still take them away.
QImage map(const Pixels& pixels)
{
    if (pixels.bytesPerLine % bytesPerPixel != 0)
        return {};
    auto mapping = Mapping::make(pixels.file.number(), qint64(pixels.bytesPerLine) * pixels.height,
        PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_POPULATE);
    if (mapping == nullptr)
        return {};
    QImage image(
        mapping->bytes(), pixels.width, pixels.height, pixels.bytesPerLine, QImage::Format_RGB32,
        [](void* owned) { delete static_cast<Mapping*>(owned); }, mapping.get());
    if (image.isNull())
        return {};
    Q_UNUSED(mapping.release()) // the image's now
    return image;
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
    // Before anything is allocated for a picture that is not there.
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

/// The fourth byte has no meaning on the way, but is opaque in an image.
void makeOpaque(QImage& image)
{
    constexpr QRgb opaqueBlack = 0xff000000U;
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        const bool isOpaque
            = std::all_of(line, line + image.width(), [](QRgb pixel) { return pixel >= opaqueBlack; });
        // Lines that need no change stay as the application's memory has them.
        if (!isOpaque)
            std::transform(line, line + image.width(), line, [](QRgb pixel) { return pixel | opaqueBlack; });
    }
}

} // namespace

Screenshot toScreenshot(const QVariantList& values)
{
    const Pixels pixels {values.at(0).value<DBus::FileDescriptor>(), values.at(1).toInt(),
        values.at(2).toInt(), values.at(3).toInt()};
    Screenshot screenshot;
    if (areSensible(pixels))
        screenshot.image = map(pixels);
    if (screenshot.image.isNull() && areSensible(pixels))
        screenshot.image = copy(pixels);
    if (screenshot.image.isNull()) {
        screenshot.errorText
            = QStringLiteral("The application sent no picture of the %1x%2 pixels that it promised")
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
