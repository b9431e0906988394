#include "nativeinterface_x11.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include <QtEndian>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace Zendra
{

namespace
{

/// Visuals with more colours than this have no palette worth fetching.
constexpr int largestPalette = 4096;
/// The smallest depth at which a pixel is treated as 0x00RRGGBB.
constexpr int trueColourDepth = 24;
constexpr QRgb opaqueBlack = 0xFF000000;

struct XImageDeleter {
    void operator()(XImage* image) const { XDestroyImage(image); }
};
using XImagePtr = std::unique_ptr<XImage, XImageDeleter>;

Screenshot failure(const char* errorText)
{
    return {{}, {}, 1.0, QString::fromLatin1(errorText)};
}

/// The requested part of the desktop; null if it is outside.
QRect requestedArea(const Rect& request, const QRect& desktop)
{
    if (request.width < 0 || request.height < 0)
        return desktop;
    // In 64 bits: the far corner may exceed an int.
    const auto far = [](int corner, int length, int limit) {
        return static_cast<int>(
            qBound(qint64 {-1}, static_cast<qint64>(corner) + length - 1, qint64 {limit}));
    };
    const QPoint topLeft(qMax(request.x, desktop.left()), qMax(request.y, desktop.top()));
    const QPoint bottomRight(
        far(request.x, request.width, desktop.right()), far(request.y, request.height, desktop.bottom()));
    if (topLeft.x() > bottomRight.x() || topLeft.y() > bottomRight.y())
        return {};
    return {topLeft, bottomRight};
}

template <typename Convert>
QImage convertPixels(XImage* source, Convert convert)
{
    QImage image(source->width, source->height, QImage::Format_RGB32);
    for (int y = 0; y < source->height; ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < source->width; ++x)
            row[x] = convert(XGetPixel(source, x, y));
    }
    return image;
}

/// The colours of a palette visual, by pixel value.
std::vector<QRgb> fetchPalette(Display* display, const XWindowAttributes& root)
{
    const auto count = static_cast<size_t>(root.visual->map_entries);
    std::vector<XColor> entries(count);
    for (size_t i = 0; i < count; ++i)
        entries[i].pixel = i;
    XQueryColors(display, root.colormap, entries.data(), root.visual->map_entries);

    std::vector<QRgb> palette;
    palette.reserve(count);
    for (const XColor& entry : entries) {
        QRgb colour = opaqueBlack;
        if ((entry.flags & DoRed) != 0)
            colour |= static_cast<QRgb>(entry.red >> 8) << 16;
        if ((entry.flags & DoGreen) != 0)
            colour |= static_cast<QRgb>(entry.green >> 8) << 8;
        if ((entry.flags & DoBlue) != 0)
            colour |= static_cast<QRgb>(entry.blue >> 8);
        palette.push_back(colour);
    }
    return palette;
}

/// One colour channel of a pixel, stretched to 8 bits.
struct Channel {
    quint32 mask;
    int shift;
    quint32 maximum;

    explicit Channel(unsigned long imageMask)
        : mask(static_cast<quint32>(imageMask))
        , shift(mask != 0 ? static_cast<int>(qCountTrailingZeroBits(mask)) : 0)
        , maximum(mask >> shift)
    {
    }

    quint32 value(unsigned long pixel) const
    {
        const quint32 raw = (static_cast<quint32>(pixel) & mask) >> shift;
        return (raw * 255U / maximum) & 0xFFU;
    }
};

/// Whether the image's pixels have the memory layout of QImage::Format_RGB32.
bool hasNativePixels(const XImage* image)
{
    const int machineOrder = QSysInfo::ByteOrder == QSysInfo::LittleEndian ? LSBFirst : MSBFirst;
    return image->bits_per_pixel == 32 && image->byte_order == machineOrder;
}

/// Converts to the pixels that XGetPixel would return, in place: new memory for a whole screen costs as much
/// as filling it.
QImage takeNativePixels(XImage* source)
{
    for (int y = 0; y < source->height; ++y) {
        auto* row
            = reinterpret_cast<QRgb*>(source->data + static_cast<ptrdiff_t>(y) * source->bytes_per_line);
        std::transform(row, row + source->width, row, [](QRgb pixel) { return opaqueBlack | pixel; });
    }
    auto* pixels = reinterpret_cast<uchar*>(std::exchange(source->data, nullptr));
    return QImage(
        pixels, source->width, source->height, source->bytes_per_line, QImage::Format_RGB32,
        [](void* memory) { XFree(memory); }, pixels);
}

bool hasPalette(const Visual* visual)
{
    return visual->c_class != TrueColor && visual->c_class != DirectColor
        && visual->map_entries <= largestPalette;
}

} // namespace

Screenshot X11NativeInterface::desktopScreenshot(Rect area, int /*flags*/)
{
    const Window root = DefaultRootWindow(display());
    XWindowAttributes attributes;
    if (XGetWindowAttributes(display(), root, &attributes) == 0)
        return failure("Querying the root window attributes failed");
    const QRect captured = requestedArea(area, QRect(0, 0, attributes.width, attributes.height));
    if (captured.isNull())
        return failure("Specified area lies outside the desktop bounds");

    const XImagePtr pixels(
        XGetImage(display(), root, captured.x(), captured.y(), static_cast<unsigned int>(captured.width()),
            static_cast<unsigned int>(captured.height()), AllPlanes, ZPixmap));
    if (pixels == nullptr)
        return failure("Failed retrieving the image data");

    QImage image;
    if (hasPalette(attributes.visual)) {
        const std::vector<QRgb> palette = fetchPalette(display(), attributes);
        image = convertPixels(pixels.get(), [&palette](unsigned long pixel) {
            return pixel < palette.size() ? palette[pixel] : opaqueBlack;
        });
    } else if (pixels->depth >= trueColourDepth) {
        if (hasNativePixels(pixels.get()))
            image = takeNativePixels(pixels.get());
        else
            image = convertPixels(
                pixels.get(), [](unsigned long pixel) { return opaqueBlack | static_cast<QRgb>(pixel); });
    } else {
        const Channel red(pixels->red_mask);
        const Channel green(pixels->green_mask);
        const Channel blue(pixels->blue_mask);
        if (red.maximum == 0 || green.maximum == 0 || blue.maximum == 0)
            return failure("X server returned an image with invalid color ranges");
        image = convertPixels(pixels.get(), [&](unsigned long pixel) {
            return opaqueBlack | red.value(pixel) << 16 | green.value(pixel) << 8 | blue.value(pixel);
        });
    }
    return {image, QTransform::fromTranslate(-captured.x(), -captured.y()), m_scaleFactor, {}};
}

} // namespace Zendra
