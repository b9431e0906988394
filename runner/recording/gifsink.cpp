#include "gifsink.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <gif_lib.h>

#include "cli/failure.h"
#include "palette.h"

namespace Zendra::Runner
{

namespace
{

constexpr qint64 shortestShow = 100; ///< milliseconds
constexpr int longestDelay = 0xffff; ///< hundredths of a second

/// The size of a colour table is a power of two.
constexpr std::size_t tableSize = 256;
constexpr unsigned char transparent = 255;

/// Rounded since the beginning of the animation, so that errors do not add up.
qint64 hundredths(qint64 time)
{
    return (time + 5) / 10;
}

QRgb* row(QImage& image, int y)
{
    return reinterpret_cast<QRgb*>(image.scanLine(y));
}

const QRgb* row(const QImage& image, int y)
{
    return reinterpret_cast<const QRgb*>(image.constScanLine(y));
}

void copy(const QImage& from, QImage& to, const QRect& area)
{
    for (int y = area.top(); y <= area.bottom(); ++y)
        std::copy_n(row(from, y) + area.left(), area.width(), row(to, y) + area.left());
}

bool differs(QRgb left, QRgb right)
{
    return ((left ^ right) & 0xffffffU) != 0;
}

/// The part of `area` in which the two images differ; empty where they do not.
QRect difference(const QImage& left, const QImage& right, const QRect& area)
{
    QRect found;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const QRgb* first = row(left, y);
        const QRgb* second = row(right, y);
        int begin = area.left();
        int end = area.right();
        while (begin <= end && !differs(first[begin], second[begin]))
            ++begin;
        while (end > begin && !differs(first[end], second[end]))
            --end;
        if (begin <= end)
            found |= QRect(QPoint(begin, y), QPoint(end, y));
    }
    return found;
}

} // namespace

GifSink::GifSink(const QString& fileName)
    : m_file(fileName)
{
}

GifSink::~GifSink() = default;

void GifSink::CloseGif::operator()(GifFileType* gif) const
{
    EGifCloseFile(gif, nullptr);
}

void GifSink::show(const QImage& frame, const QRect& changed, qint64 time)
{
    if (!m_gif)
        start(frame.size());
    if (time - m_pendingTime >= shortestShow) {
        writePending(time);
        m_pendingTime = time;
    }
    const bool hasSize = frame.size() == m_pending.size();
    const QRect area = hasSize ? changed : m_pending.rect();
    copy(fitted(frame, m_pending.size()), m_pending, area);
    m_pendingArea |= area;
}

void GifSink::finish(qint64 endTime)
{
    if (!m_gif)
        return;
    // Browsers do not accept a delay below two hundredths.
    writePending(std::max(endTime, m_pendingTime + 20));
    const bool isClosed = EGifCloseFile(m_gif.release(), nullptr) == GIF_OK;
    require(isClosed);
    m_file.close();
}

void GifSink::start(const QSize& size)
{
    int error = 0;
    m_gif.reset(EGifOpen(this, &GifSink::write, &error));
    if (!m_gif)
        qBadAlloc();
    EGifSetGifVersion(m_gif.get(), true);
    require(EGifPutScreenDesc(m_gif.get(), size.width(), size.height(), 8, 0, nullptr) == GIF_OK);
    // The number of repetitions, 0 for endless.
    constexpr std::array<unsigned char, 3> forEver {1, 0, 0};
    require(EGifPutExtensionLeader(m_gif.get(), APPLICATION_EXT_FUNC_CODE) == GIF_OK
        && EGifPutExtensionBlock(m_gif.get(), 11, "NETSCAPE2.0") == GIF_OK
        && EGifPutExtensionBlock(m_gif.get(), static_cast<int>(forEver.size()), forEver.data()) == GIF_OK
        && EGifPutExtensionTrailer(m_gif.get()) == GIF_OK);
    m_pending = QImage(size, QImage::Format_RGB32);
    m_pending.fill(Qt::black);
}

/// Writes the pending picture, now that the end of its time is known.
void GifSink::writePending(qint64 endTime)
{
    auto delay = hundredths(endTime) - hundredths(m_pendingTime);
    const auto first = static_cast<int>(std::min<qint64>(delay, longestDelay));
    if (m_written.isNull())
        writePicture(m_pending.rect(), first);
    else if (const QRect area = difference(m_written, m_pending, m_pendingArea); !area.isEmpty())
        writePicture(area, first);
    else
        writePause(first);
    for (delay -= first; delay > 0; delay -= longestDelay)
        writePause(static_cast<int>(std::min<qint64>(delay, longestDelay)));
    m_pendingArea = QRect();
}

void GifSink::writePicture(const QRect& area, int delay)
{
    const bool isFirst = m_written.isNull();
    Palette palette(tableSize - 1);
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const QRgb* pending = row(m_pending, y);
        for (int x = area.left(); x <= area.right(); ++x) {
            if (isFirst || differs(pending[x], row(m_written, y)[x]))
                palette.add(pending[x]);
        }
    }
    palette.build();
    writeDelay(delay);
    writeImage(area, palette.colours(), [&](int y, unsigned char* line) {
        const QRgb* pending = row(m_pending, y);
        for (int x = area.left(); x <= area.right(); ++x) {
            const bool isNew = isFirst || differs(pending[x], row(m_written, y)[x]);
            *line++ = isNew ? palette.indexOf(pending[x]) : transparent;
        }
    });
    if (isFirst)
        m_written = m_pending.copy();
    else
        copy(m_pending, m_written, area);
}

/// A picture of one transparent pixel.
void GifSink::writePause(int delay)
{
    writeDelay(delay);
    writeImage(QRect(0, 0, 1, 1), {}, [](int, unsigned char* line) { *line = transparent; });
}

void GifSink::writeDelay(int delay)
{
    const GraphicsControlBlock block {DISPOSE_DO_NOT, false, delay, transparent};
    std::array<GifByteType, 4> bytes {};
    const auto size = static_cast<int>(EGifGCBToExtension(&block, bytes.data()));
    require(EGifPutExtension(m_gif.get(), GRAPHICS_EXT_FUNC_CODE, size, bytes.data()) == GIF_OK);
}

template <typename FillLine>
void GifSink::writeImage(const QRect& area, const std::vector<QRgb>& colours, FillLine fillLine)
{
    std::array<GifColorType, tableSize> table {};
    std::transform(colours.begin(), colours.end(), table.begin(), [](QRgb colour) {
        return GifColorType {static_cast<GifByteType>(qRed(colour)), static_cast<GifByteType>(qGreen(colour)),
            static_cast<GifByteType>(qBlue(colour))};
    });
    const std::unique_ptr<ColorMapObject, decltype(&GifFreeMapObject)> map(
        GifMakeMapObject(static_cast<int>(table.size()), table.data()), &GifFreeMapObject);
    if (!map)
        qBadAlloc();
    require(
        EGifPutImageDesc(m_gif.get(), area.left(), area.top(), area.width(), area.height(), false, map.get())
        == GIF_OK);
    std::vector<unsigned char> line(static_cast<std::size_t>(area.width()));
    for (int y = area.top(); y <= area.bottom(); ++y) {
        fillLine(y, line.data());
        require(EGifPutLine(m_gif.get(), line.data(), area.width()) == GIF_OK);
    }
    m_file.commit();
}

int GifSink::write(GifFileType* gif, const unsigned char* bytes, int count)
{
    auto* sink = static_cast<GifSink*>(gif->UserData);
    if (!sink->m_writeError.empty())
        return 0;
    try {
        sink->m_file.write(QByteArray::fromRawData(reinterpret_cast<const char*>(bytes), count));
        return count;
    } catch (const std::runtime_error& error) {
        sink->m_writeError = error.what();
        return 0;
    }
}

void GifSink::require(bool done)
{
    if (!m_writeError.empty())
        throw std::runtime_error(m_writeError);
    if (!done)
        throw operationFailure(QStringLiteral("The GIF cannot be written"));
}

} // namespace Zendra::Runner
