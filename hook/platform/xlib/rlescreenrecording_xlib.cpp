#include "rlescreenrecording_xlib.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "image_xlib.h"

#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>

namespace Zendra::Xlib
{

RleScreenRecording::Region::Region(Display* display)
    : m_display(display)
    , m_id(createEmptyRegion(display))
{
}

RleScreenRecording::Region::~Region()
{
    XFixesDestroyRegion(m_display, m_id);
}

FList<QRect> RleScreenRecording::Region::rectangles() const
{
    int count = 0;
    const std::unique_ptr<XRectangle, int (*)(void*)> fetched(
        XFixesFetchRegion(m_display, m_id, &count), &XFree);
    FList<QRect> rectangles;
    std::transform(fetched.get(), fetched.get() + (fetched != nullptr ? count : 0),
        std::back_inserter(rectangles),
        [](const XRectangle& area) { return QRect(area.x, area.y, area.width, area.height); });
    return rectangles;
}

/// The root window's attributes when they were last queried.
struct RleScreenRecording::Root {
    QRect geometry;
    XVisual* visual;
    unsigned int depth;
};

RleScreenRecording::RleScreenRecording(Display* display, double scale)
    : ScreenRecording(Video::RleFormat, display)
    , m_scale(scale)
    , m_region(display)
    , m_compressor(this)
{
}

RleScreenRecording::RleScreenRecording(XDisplay* display, double scale)
    : ScreenRecording(Video::RleFormat, display)
    , m_scale(scale)
    , m_region(display->display())
    , m_compressor(this)
{
}

RleScreenRecording::~RleScreenRecording() = default;

void RleScreenRecording::sendUpdate(unsigned int timestamp)
{
    Root root = adoptRootSize();
    const FList<QRect> rectangles = takeDamagedRectangles(root);
    // Deliberate: nothing is sent then; a new size of the screen waits for the next update with a change.
    if (rectangles.empty())
        return;
    m_compressor.startUpdate(timestamp, {}, rectangles);
    for (const QRect& rect : rectangles)
        encode(rect, root);
    m_compressor.updateDone();
    ScreenRecording::sendUpdate(timestamp);
}

/// Queries the root window, and sends its bounds if its size has changed.
RleScreenRecording::Root RleScreenRecording::adoptRootSize()
{
    XWindowAttributes attributes;
    if (XGetWindowAttributes(display(), DefaultRootWindow(display()), &attributes) == 0)
        throw std::runtime_error("Failed retrieving the display attributes");
    const QRect geometry(attributes.x, attributes.y, attributes.width, attributes.height);
    if (geometry.size() != m_compressor.bounds().size())
        m_compressor.boundsChanged(geometry, 1.0F, static_cast<float>(m_scale));
    return {geometry, attributes.visual, static_cast<unsigned int>(attributes.depth)};
}

/// The rectangles are the server's. Changes during the encoding belong to the next update.
FList<QRect> RleScreenRecording::takeDamagedRectangles(Root& root)
{
    takeDamageRegion(m_region.id());
    FList<QRect> rectangles = m_region.rectangles();
    for (QRect& rect : rectangles)
        rect.translate(root.geometry.topLeft());
    const auto isInside = [this](const QRect& rect) { return m_compressor.bounds().contains(rect); };
    if (std::all_of(rectangles.begin(), rectangles.end(), isInside))
        return rectangles;

    // The screen has just been resized; rectangles are clipped only here. If it has grown, the rectangles
    // need the new bounds; if it has shrunk, the server would refuse pixels outside it.
    root = adoptRootSize();
    for (QRect& rect : rectangles)
        rect &= m_compressor.bounds();
    rectangles.remove_if([](const QRect& rect) { return rect.isEmpty(); });
    if (rectangles.empty())
        ScreenRecording::sendUpdate(0); // dispatches the events that the requests above have queued
    return rectangles;
}

void RleScreenRecording::encode(const QRect& rect, const Root& root)
{
    const Image image(newShmImage(rect.size(), root.visual, root.depth));
    unsigned char* pixels = nullptr;
    try {
        pixels = grabRect(image.get(), rect.topLeft());
    } catch (const std::runtime_error&) {
        if (!encodeRemainder(rect, root))
            throw;
        return;
    }
    m_compressor.updateChunk(
        rect, reinterpret_cast<unsigned int*>(pixels), static_cast<unsigned int>(image->bytes_per_line / 4));
}

/// Encodes a rectangle that is partly outside the screen because that has shrunk since its size was queried.
/// The update has announced the rectangle, so pixels off the screen are sent as black; the next update has
/// the new bounds. Returns false if the screen has not shrunk.
bool RleScreenRecording::encodeRemainder(const QRect& rect, const Root& root)
{
    const QRect remainder = rect & QRect(root.geometry.topLeft(), getDisplaySize(display()));
    if (remainder == rect)
        return false;
    const auto width = static_cast<std::size_t>(rect.width());
    std::vector<unsigned int> pixels(width * static_cast<std::size_t>(rect.height()));
    if (!remainder.isEmpty()) {
        const Image image(newShmImage(remainder.size(), root.visual, root.depth));
        const unsigned char* row = grabRect(image.get(), remainder.topLeft());
        const auto offset = static_cast<std::size_t>(remainder.y() - rect.y()) * width
            + static_cast<std::size_t>(remainder.x() - rect.x());
        unsigned int* target = pixels.data() + offset;
        for (int y = 0; y < remainder.height(); ++y, row += image->bytes_per_line, target += width)
            std::memcpy(target, row, static_cast<std::size_t>(remainder.width()) * sizeof pixels.front());
    }
    m_compressor.updateChunk(rect, pixels.data(), static_cast<unsigned int>(width));
    return true;
}

} // namespace Zendra::Xlib
