#pragma once

#include <array>
#include <functional>
#include <vector>

#include <QByteArray>
#include <QImage>
#include <QRect>

namespace Zendra::Runner
{

/// A complete update.
struct RleUpdate {
    const QImage& frame; ///< Format_RGB32; owned by the decoder, valid during the call
    QRect changed;       ///< contains the changed pixels of `frame`; empty if only time has passed
    qint64 time;         ///< milliseconds since the stream's beginning
    qint64 end;          ///< the offset of the first byte behind the update
};

/// Decodes the run-length encoded stream of a screen recording, in pieces of any size.
/// The stream is untrusted. For invalid data a Failure with the byte offset is thrown, after which the
/// decoder must not be used; its frame may be half updated.
class RleDecoder
{
public:
    /// What to decode. Without pictures `frame` stays null, and decoding is much faster.
    enum class Wanted { Pictures, Times };

    explicit RleDecoder(std::function<void(const RleUpdate&)> updateDone, Wanted wanted = Wanted::Pictures);

    void decode(const QByteArray& bytes);
    /// Throws when the bytes so far end in the middle of a message.
    void requireEnd() const;

    /// The last frame; null before the first message.
    const QImage& frame() const { return m_frame; }
    qint64 time() const { return m_time; }
    /// Of the current word, in bytes.
    qint64 offset() const { return m_offset; }

private:
    Q_DISABLE_COPY(RleDecoder)

    enum class Expected { Message, Bounds, UpdateHeader, Rectangle, Runs };

    /// Where the next run of a rectangle begins.
    struct Cursor {
        QRgb* row = nullptr;   ///< the rectangle's pixels in the current row
        int column = 0;        ///< from the rectangle's left edge
        int width = 0;         ///< the rectangle's
        qint64 rowLength = 0;  ///< the frame's
        qint64 pixelsLeft = 0; ///< of the rectangle
    };

    void decodeWords(const uchar* words, qint64 count);
    void collect(quint32 word);
    qint64 decodeRuns(const uchar* words, qint64 count);
    qint64 countRuns(const uchar* words, qint64 count, qint64& pixelsLeft);
    void expect(Expected expected);
    void takeMessageType();
    void takeBounds();
    void changeFrame(const QRect& bounds);
    void takeUpdateHeader();
    void takeRectangle();
    QRect toRectangle(const QRect& within) const;
    void beginRectangle();
    void endUpdate();
    static void fill(Cursor& cursor, int count, QRgb colour);
    static void skip(Cursor& cursor, qint64 count);
    [[noreturn]] void refuse(const QString& what) const;

    std::function<void(const RleUpdate&)> m_updateDone;
    Wanted m_wanted;
    std::array<uchar, 4> m_partialWord {};
    std::size_t m_partialSize = 0;
    qint64 m_offset = 0;

    Expected m_expected = Expected::Message;
    std::array<quint32, 6> m_words {}; ///< of the current message or rectangle
    std::size_t m_wordCount = 0;

    QRect m_bounds;
    QImage m_frame;
    qint64 m_time = 0;
    quint32 m_rectanglesToCome = 0;
    std::vector<QRect> m_rectangles; ///< of the current update, in the frame's coordinates
    std::size_t m_current = 0;       ///< the rectangle of the next run
    bool m_currentHasFills = false;
    Cursor m_cursor;
    QRect m_changed;
};

} // namespace Zendra::Runner
