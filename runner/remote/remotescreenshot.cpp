#include "remotescreenshot.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include <fcntl.h>
#include <sys/mman.h>

#include <sys/stat.h>
#include <unistd.h>

#include <dbus/message.h>

namespace Zendra::Runner
{

namespace
{

constexpr int bytesPerPixel = 4;
constexpr int largestSize = 65535; ///< pixels; the X protocol has no larger ones

class Mapping
{
public:
    Mapping(void* memory, size_t size)
        : m_memory(memory)
        , m_size(size)
    {
    }
    ~Mapping() { munmap(m_memory, m_size); }

private:
    Q_DISABLE_COPY(Mapping)

    void* m_memory;
    size_t m_size;
};

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

/// The size of the file; -1 for one that gives no end of bytes, or waits for them.
qint64 fileSize(const Pixels& pixels)
{
    struct stat status = {};
    const bool isFile = fstat(pixels.file.number(), &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? qint64(status.st_size) : -1;
}

/// The pixels where they are; a null image where the application could still take them away, which would end
/// this process.
QImage map(const Pixels& pixels)
{
    const int file = pixels.file.number();
    const int seals = fcntl(file, F_GET_SEALS);
    if (seals < 0 || (seals & F_SEAL_SHRINK) == 0)
        return {};
    const qint64 bytes = qint64(pixels.bytesPerLine) * pixels.height;
    if (bytes > fileSize(pixels) || pixels.bytesPerLine % bytesPerPixel != 0)
        return {};
    const auto size = static_cast<size_t>(bytes);
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_POPULATE, file, 0);
    if (memory == MAP_FAILED)
        return {};
    auto mapping = std::make_unique<Mapping>(memory, size);
    QImage image(
        static_cast<uchar*>(memory), pixels.width, pixels.height, pixels.bytesPerLine, QImage::Format_RGB32,
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
    if (qint64(pixels.bytesPerLine) * (pixels.height - 1) + lineSize > fileSize(pixels))
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
