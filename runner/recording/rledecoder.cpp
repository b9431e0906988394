#include "rledecoder.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include <QtEndian>

#include "cli/failure.h"
#include "image/limits.h"

namespace Zendra::Runner
{

namespace
{

constexpr qint64 wordSize = 4;

constexpr quint32 boundsMessage = 1;
constexpr quint32 updateMessage = 2;

/// The X protocol's limit, and longer than 'record' records. A small file must not become a movie that fills
/// the disk.
constexpr qint64 longestSide = 32767;
constexpr qint64 longestTime = qint64(8) * 24 * 3600 * 1000; // milliseconds

qint64 areaOf(const QRect& rectangle)
{
    return qint64(rectangle.width()) * rectangle.height();
}

/// A black frame; null without memory. The kernel gives a large one its pages when they are written, so a
/// damaged or hostile file that only claims a large screen costs little.
QImage blackFrame(const QSize& size)
{
    constexpr std::size_t pixelSize = sizeof(QRgb);
    const auto width = static_cast<std::size_t>(size.width());
    void* pixels = std::calloc(static_cast<std::size_t>(size.height()), width * pixelSize);
    if (pixels == nullptr)
        return {};
    return {static_cast<uchar*>(pixels), size.width(), size.height(), static_cast<int>(width * pixelSize),
        QImage::Format_RGB32, &std::free, pixels};
}

} // namespace

RleDecoder::RleDecoder(std::function<void(const RleUpdate&)> updateDone, Wanted wanted)
    : m_updateDone(std::move(updateDone))
    , m_wanted(wanted)
{
}

void RleDecoder::decode(const QByteArray& bytes)
{
    const auto* next = reinterpret_cast<const uchar*>(bytes.constData());
    const uchar* end = next + bytes.size();
    // A word that began in the previous piece.
    while (m_partialSize > 0 && next != end) {
        m_partialWord[m_partialSize++] = *next++;
        if (m_partialSize == m_partialWord.size()) {
            m_partialSize = 0;
            decodeWords(m_partialWord.data(), 1);
        }
    }
    const qint64 words = (end - next) / wordSize;
    decodeWords(next, words);
    for (next += words * wordSize; next != end; ++next)
        m_partialWord[m_partialSize++] = *next;
}

void RleDecoder::requireEnd() const
{
    if (m_expected != Expected::Message || m_partialSize > 0)
        refuse(QStringLiteral("it ends in the middle of a message"));
}

void RleDecoder::decodeWords(const uchar* words, qint64 count)
{
    for (qint64 taken = 0; count > 0; count -= taken, words += taken * wordSize) {
        taken = 1;
        if (m_expected == Expected::Runs)
            taken = decodeRuns(words, count);
        else
            collect(qFromBigEndian<quint32>(words));
        m_offset += taken * wordSize;
    }
}

/// Handles a word of a message's fixed part.
void RleDecoder::collect(quint32 word)
{
    m_words[m_wordCount++] = word;
    switch (m_expected) {
    case Expected::Message:
        takeMessageType();
        break;
    case Expected::Bounds:
        if (m_wordCount == 6)
            takeBounds();
        break;
    case Expected::UpdateHeader:
        if (m_wordCount == 3)
            takeUpdateHeader();
        break;
    case Expected::Rectangle:
        if (m_wordCount == 4)
            takeRectangle();
        break;
    case Expected::Runs:
        break;
    }
}

void RleDecoder::expect(Expected expected)
{
    m_expected = expected;
    m_wordCount = 0;
}

void RleDecoder::takeMessageType()
{
    const quint32 type = m_words[0];
    if (type == boundsMessage)
        expect(Expected::Bounds);
    else if (type != updateMessage)
        refuse(QStringLiteral("there is no message of type %1").arg(type));
    else if (m_bounds.isNull())
        refuse(QStringLiteral("an update comes before the size of the screen"));
    else
        expect(Expected::UpdateHeader);
}

void RleDecoder::takeBounds()
{
    const QRect bounds = toRectangle({});
    m_changed = QRect(QPoint(), bounds.size());
    expect(Expected::Message);
    if (m_wanted == Wanted::Pictures)
        changeFrame(bounds);
    m_bounds = bounds;
}

/// Changes the bounds of the frame: common pixels stay, the rest is black.
void RleDecoder::changeFrame(const QRect& bounds)
{
    QImage frame = blackFrame(bounds.size());
    if (frame.isNull())
        refuse(QStringLiteral("there is no memory for a screen of this size"));
    const QRect overlap = m_bounds & bounds;
    for (int y = overlap.top(); y <= overlap.bottom(); ++y) {
        const auto* from = reinterpret_cast<const QRgb*>(m_frame.constScanLine(y - m_bounds.top()));
        from += overlap.left() - m_bounds.left();
        if (std::all_of(from, from + overlap.width(), [](QRgb pixel) { return pixel == 0; }))
            continue; // a page that is written costs memory
        auto* to = reinterpret_cast<QRgb*>(frame.scanLine(y - bounds.top()));
        std::copy_n(from, overlap.width(), to + (overlap.left() - bounds.left()));
    }
    m_frame = std::move(frame);
}

void RleDecoder::takeUpdateHeader()
{
    // The format has the sources of moves, but not their targets.
    if (m_words[0] != 0)
        refuse(QStringLiteral("the update moves %1 rectangles, and there is no telling where to")
                   .arg(m_words[0]));
    // They do not overlap, so each has at least one pixel.
    m_rectanglesToCome = m_words[1];
    if (m_rectanglesToCome > areaOf(m_bounds))
        refuse(QStringLiteral("%1 rectangles do not fit the screen").arg(m_rectanglesToCome));
    m_time += m_words[2];
    if (m_time > longestTime)
        refuse(QStringLiteral("it lasts longer than eight days"));
    m_rectangles.clear();
    if (m_rectanglesToCome == 0)
        endUpdate();
    else
        expect(Expected::Rectangle);
}

void RleDecoder::takeRectangle()
{
    m_rectangles.push_back(toRectangle(m_bounds).translated(-m_bounds.topLeft()));
    m_wordCount = 0;
    if (m_rectangles.size() == m_rectanglesToCome) {
        m_expected = Expected::Runs;
        m_current = 0;
        beginRectangle();
    }
}

/// The rectangle in the last four words, which must be inside `within` unless that is null.
QRect RleDecoder::toRectangle(const QRect& within) const
{
    const qint64 left = static_cast<qint32>(m_words[0]);
    const qint64 top = static_cast<qint32>(m_words[1]);
    const qint64 right = static_cast<qint32>(m_words[2]);
    const qint64 bottom = static_cast<qint32>(m_words[3]);
    const qint64 width = right - left;
    const qint64 height = bottom - top;
    const bool hasPixels = width > 0 && height > 0;
    const bool fits = hasPixels && width <= longestSide && height <= longestSide
        && width * height <= mostScreenPixels && std::max(std::abs(left), std::abs(top)) <= longestSide;
    const QRect rectangle = fits ? QRect(static_cast<int>(left), static_cast<int>(top),
                                static_cast<int>(width), static_cast<int>(height))
                                 : QRect();
    if (rectangle.isEmpty() || (!within.isNull() && !within.contains(rectangle))) {
        refuse(QStringLiteral("a rectangle from %1,%2 to %3,%4 cannot be on a screen")
                   .arg(left)
                   .arg(top)
                   .arg(right)
                   .arg(bottom));
    }
    return rectangle;
}

void RleDecoder::beginRectangle()
{
    const QRect& rectangle = m_rectangles[m_current];
    if (m_wanted == Wanted::Pictures)
        m_cursor.row = reinterpret_cast<QRgb*>(m_frame.scanLine(rectangle.top())) + rectangle.left();
    m_cursor.column = 0;
    m_cursor.width = rectangle.width();
    m_cursor.rowLength = m_frame.width();
    m_cursor.pixelsLeft = areaOf(rectangle);
    m_currentHasFills = false;
}

/// Decodes runs up to the end of the words or of the update; returns their number.
qint64 RleDecoder::decodeRuns(const uchar* words, qint64 count)
{
    // A local copy, as the compiler cannot rule out that the pixel pointer aliases members.
    Cursor cursor = m_cursor;
    for (qint64 index = countRuns(words, count, cursor.pixelsLeft); index < count; ++index) {
        const auto word = qFromBigEndian<quint32>(words + index * wordSize);
        const quint32 fillLength = word >> 24;
        const quint32 length = fillLength > 0 ? fillLength : word;
        if (length == 0 || length > cursor.pixelsLeft) {
            m_offset += index * wordSize;
            refuse(QStringLiteral("a run of %1 pixels does not fit the %2 that its rectangle has left")
                       .arg(length)
                       .arg(cursor.pixelsLeft));
        }
        cursor.pixelsLeft -= length;
        m_currentHasFills |= fillLength > 0;
        if (m_wanted == Wanted::Pictures && fillLength > 0)
            fill(cursor, static_cast<int>(length), word & 0xffffffU);
        else if (m_wanted == Wanted::Pictures)
            skip(cursor, length);
        if (cursor.pixelsLeft > 0)
            continue;
        if (m_currentHasFills)
            m_changed |= m_rectangles[m_current];
        if (++m_current == m_rectangles.size()) {
            m_offset += index * wordSize;
            endUpdate();
            m_offset -= index * wordSize;
            return index + 1;
        }
        beginRectangle();
        cursor = m_cursor;
    }
    m_cursor = cursor;
    return count;
}

/// Without pictures, skips many valid runs at a time that end within the rectangle; returns their number.
qint64 RleDecoder::countRuns(const uchar* words, qint64 count, qint64& pixelsLeft)
{
    constexpr qint64 pieceSize = 256; // the sum of so many lengths fits into 32 bits
    qint64 taken = 0;
    while (m_wanted == Wanted::Times && taken + pieceSize <= count) {
        // Nearly all words are fills, whose length is the first byte.
        quint32 pixels = 0;
        quint32 skips = 0;
        for (qint64 index = taken; index < taken + pieceSize; ++index) {
            const quint32 fillLength = qFromLittleEndian<quint32>(words + index * wordSize) & 0xFFU;
            pixels += fillLength;
            skips += fillLength == 0 ? 1U : 0U;
        }
        quint32 shortest = 1;
        for (qint64 index = taken; skips > 0 && index < taken + pieceSize; ++index) {
            const auto word = qFromBigEndian<quint32>(words + index * wordSize);
            if (word >> 24 != 0)
                continue;
            pixels += word;
            shortest = std::min(shortest, word);
        }
        if (shortest == 0 || pixels >= pixelsLeft)
            break;
        m_currentHasFills |= skips < pieceSize;
        pixelsLeft -= pixels;
        taken += pieceSize;
    }
    return taken;
}

void RleDecoder::fill(Cursor& cursor, int count, QRgb colour)
{
    for (int rest = cursor.width - cursor.column; count > rest; rest = cursor.width) {
        std::fill_n(cursor.row + cursor.column, rest, colour);
        count -= rest;
        cursor.column = 0;
        cursor.row += cursor.rowLength;
    }
    std::fill_n(cursor.row + cursor.column, count, colour);
    cursor.column += count;
}

void RleDecoder::skip(Cursor& cursor, qint64 count)
{
    const qint64 column = cursor.column + count;
    if (column <= cursor.width) {
        cursor.column = static_cast<int>(column);
        return;
    }
    // After the last pixel of a row, not before the first one of a row that may not exist.
    const qint64 rows = (column - 1) / cursor.width;
    cursor.row += rows * cursor.rowLength;
    cursor.column = static_cast<int>(column - rows * cursor.width);
}

void RleDecoder::endUpdate()
{
    expect(Expected::Message);
    m_updateDone({m_frame, std::exchange(m_changed, QRect()), m_time, m_offset + wordSize});
}

void RleDecoder::refuse(const QString& what) const
{
    throw operationFailure(QStringLiteral("The recording is damaged at byte %1: %2").arg(m_offset).arg(what));
}

} // namespace Zendra::Runner
