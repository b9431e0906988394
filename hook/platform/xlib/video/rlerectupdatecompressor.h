#pragma once

#include <vector>

#include <QRect>

#include <zendra/flist.h>

#include "segmentbuffer.h"

namespace Zendra
{

/// Encodes screen updates as runs of unchanged pixels and runs of one colour, against a copy of the last
/// frame.
///
/// The stream is a sequence of 32-bit big-endian words. For a frame: boundsChanged() when the area has
/// changed, startUpdate() with a list of rectangles, updateChunk() once for each of them in that order,
/// updateDone().
class RLERectUpdateCompressor
{
public:
    /// An area that moved on screen.
    struct MovedRectangle {
        QRect rectangle;
    };

    /// The caller owns the stream.
    explicit RLERectUpdateCompressor(BinaryStream* stream);

    /// The area that the last frame covers; null at first.
    QRect bounds() const { return m_bounds; }
    /// Makes the last frame cover `newBounds`: the common area is kept, the rest is black.
    void boundsChanged(QRect newBounds, float factor1, float factor2);
    /// Announces the rectangles that follow. `timestamp` is passed on as it is.
    void startUpdate(unsigned int timestamp, const FList<MovedRectangle>& moved, const FList<QRect>& rects);
    /// Encodes the pixels of one rectangle inside the bounds. `pixels` is its top-left pixel, 0x00RRGGBB with
    /// an ignored top byte; `stride` is the distance between rows in pixels.
    void updateChunk(QRect rect, unsigned int* pixels, unsigned int stride);
    /// Sends the current segment.
    void updateDone();

private:
    Q_DISABLE_COPY(RLERectUpdateCompressor)

    void writeRectangle(const QRect& rect);

    QRect m_bounds;
    std::vector<unsigned int> m_frame; ///< row by row, 0x00RRGGBB
    SegmentBuffer m_output;
};

} // namespace Zendra
