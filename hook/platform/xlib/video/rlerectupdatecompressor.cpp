#include "rlerectupdatecompressor.h"

#include <algorithm>

#include "rleencoder.h"

namespace Zendra
{

namespace
{

// The first words of messages.
constexpr quint32 boundsMessage = 1;
constexpr quint32 updateMessage = 2;

quint32 toFixedPoint(float factor)
{
    // The format's own rounding. NOLINTNEXTLINE(bugprone-incorrect-roundings)
    return static_cast<quint32>(static_cast<qint64>(65536.0F * factor + 0.5F));
}

std::size_t toSize(int length)
{
    return static_cast<std::size_t>(std::max(length, 0));
}

/// The index of a pixel in a frame that covers `bounds`.
std::size_t frameIndex(const QRect& bounds, const QPoint& pixel)
{
    return toSize(pixel.y() - bounds.y()) * toSize(bounds.width()) + toSize(pixel.x() - bounds.x());
}

} // namespace

RLERectUpdateCompressor::RLERectUpdateCompressor(BinaryStream* stream)
    : m_output(stream)
{
}

void RLERectUpdateCompressor::boundsChanged(QRect newBounds, float factor1, float factor2)
{
    std::vector<unsigned int> frame(toSize(newBounds.width()) * toSize(newBounds.height()), 0);
    const QRect overlap = m_bounds & newBounds;
    for (int y = overlap.top(); y <= overlap.bottom(); ++y) {
        const QPoint rowStart(overlap.left(), y);
        std::copy_n(&m_frame[frameIndex(m_bounds, rowStart)], overlap.width(),
            &frame[frameIndex(newBounds, rowStart)]);
    }
    m_bounds = newBounds;
    m_frame.swap(frame);

    m_output.write(boundsMessage);
    writeRectangle(newBounds);
    m_output.write(toFixedPoint(factor1));
    m_output.write(toFixedPoint(factor2));
}

void RLERectUpdateCompressor::startUpdate(
    unsigned int timestamp, const FList<MovedRectangle>& moved, const FList<QRect>& rects)
{
    m_output.write(updateMessage);
    m_output.write(static_cast<quint32>(moved.size()));
    m_output.write(static_cast<quint32>(rects.size()));
    m_output.write(timestamp);
    for (const MovedRectangle& area : moved)
        writeRectangle(area.rectangle);
    for (const QRect& rect : rects)
        writeRectangle(rect);
}

void RLERectUpdateCompressor::updateChunk(QRect rect, unsigned int* pixels, unsigned int stride)
{
    const std::size_t first = frameIndex(m_bounds, rect.topLeft());
    // A rectangle without pixels may begin past the end of the frame. It gives an empty run.
    if (first >= m_frame.size()) {
        m_output.write(0);
        return;
    }
    encodeRectangle({pixels, stride}, {&m_frame[first], toSize(m_bounds.width())}, toSize(rect.width()),
        toSize(rect.height()), m_output);
}

void RLERectUpdateCompressor::updateDone()
{
    m_output.flush();
}

/// The edges of a rectangle, the right and bottom ones exclusive.
void RLERectUpdateCompressor::writeRectangle(const QRect& rect)
{
    m_output.write(static_cast<quint32>(rect.left()));
    m_output.write(static_cast<quint32>(rect.top()));
    m_output.write(static_cast<quint32>(rect.right() + 1));
    m_output.write(static_cast<quint32>(rect.bottom() + 1));
}

} // namespace Zendra
