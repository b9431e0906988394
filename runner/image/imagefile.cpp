#include "imagefile.h"

#include <array>

#include <QBuffer>
#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QSaveFile>

#include <png.h>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

struct Ending {
    const char* ending;
    const char* format;
};
constexpr std::array<Ending, 4> endings {{
    {"png", "png"},
    {"jpg", "jpeg"},
    {"jpeg", "jpeg"},
    {"bmp", "bmp"},
}};

constexpr int jpegQuality = 90;

/// zlib's level, and the filters that libpng tries on each row.
struct PngEffort {
    int level;
    int filters;
};
/// Windows and text do best without a filter. libpng's own choice, level 6 with all five filters tried, is
/// sometimes a third smaller and sometimes larger, and takes twice as long.
constexpr PngEffort effortForWindows {4, PNG_FILTER_NONE};
/// Photographs become more than a third smaller by a filter. Trying all five gains a twentieth at the most,
/// and a higher level takes two to three times as long.
constexpr PngEffort effortForPhotographs {2, PNG_FILTER_NONE | PNG_FILTER_AVG};

/// Windows and text are flat: nearly every pixel equals the previous one. One row in 16 is checked.
PngEffort effortFor(const QImage& image)
{
    const int width = image.width();
    qint64 pixels = 0;
    qint64 repeated = 0;
    for (int y = 0; y < image.height(); y += 16) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 1; x < width; ++x)
            repeated += static_cast<qint64>(row[x] == row[x - 1]);
        pixels += width;
    }
    return repeated * 4 > pixels * 3 ? effortForWindows : effortForPhotographs;
}

QByteArray formatOf(const QString& fileName)
{
    const QString ending = QFileInfo(fileName).suffix().toLower();
    for (const Ending& known : endings) {
        if (ending == QLatin1String(known.ending))
            return known.format;
    }
    return {};
}

class PngWriter
{
public:
    PngWriter()
        : m_png(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr))
        , m_info(m_png != nullptr ? png_create_info_struct(m_png) : nullptr)
    {
        if (m_info == nullptr)
            qBadAlloc();
    }

    ~PngWriter() { png_destroy_write_struct(&m_png, &m_info); }

    QByteArray write(const QImage& image)
    {
        QByteArray file;
        png_set_write_fn(m_png, &file, &PngWriter::append, nullptr);
        png_set_IHDR(m_png, m_info, static_cast<png_uint_32>(image.width()),
            static_cast<png_uint_32>(image.height()), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
            PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        const PngEffort effort = effortFor(image);
        png_set_compression_level(m_png, effort.level);
        png_set_filter(m_png, PNG_FILTER_TYPE_BASE, effort.filters);
        png_write_info(m_png, m_info);
        // Rows of 0xffRRGGBB words, as the machine stores them.
        const bool littleEndian = Q_BYTE_ORDER == Q_LITTLE_ENDIAN;
        if (littleEndian)
            png_set_bgr(m_png);
        png_set_filler(m_png, 0, littleEndian ? PNG_FILLER_AFTER : PNG_FILLER_BEFORE);
        for (int y = 0; y < image.height(); ++y)
            png_write_row(m_png, image.constScanLine(y));
        png_write_end(m_png, m_info);
        return file;
    }

private:
    Q_DISABLE_COPY(PngWriter)

    static void append(png_structp png, png_bytep bytes, size_t count)
    {
        auto* file = static_cast<QByteArray*>(png_get_io_ptr(png));
        file->append(reinterpret_cast<const char*>(bytes), static_cast<int>(count));
    }

    png_structp m_png;
    png_infop m_info;
};

QByteArray toFile(const QImage& image, const QString& fileName)
{
    const QByteArray format = formatOf(fileName);
    if (format == "png")
        return toPng(image);
    QBuffer buffer;
    QImageWriter writer(&buffer, format);
    writer.setQuality(jpegQuality);
    if (!writer.write(image))
        throw cannotWrite(fileName, writer.errorString());
    return buffer.data();
}

bool writeAll(QFileDevice& file, const QByteArray& content)
{
    if (!file.open(QIODevice::WriteOnly))
        return false;
    // errno is only set by a write that fails wholly.
    for (qint64 written = 0; written < content.size();) {
        const qint64 count = file.write(content.constData() + written, content.size() - written);
        if (count <= 0)
            return false;
        written += count;
    }
    return file.flush();
}

} // namespace

QByteArray toPng(const QImage& image)
{
    return PngWriter().write(image.convertToFormat(QImage::Format_RGB32));
}

QImage fromPng(const QByteArray& content, const QString& fileName)
{
    // In Qt, libpng writes warnings to standard error.
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    const auto size = static_cast<size_t>(content.size());
    QImage image;
    if (png_image_begin_read_from_memory(&png, content.constData(), size) != 0) {
        // 0xAARRGGBB words, as the machine stores them.
        png.format = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? PNG_FORMAT_BGRA : PNG_FORMAT_ARGB;
        image = QImage(static_cast<int>(png.width), static_cast<int>(png.height), QImage::Format_ARGB32);
        if (!image.isNull())
            png_image_finish_read(&png, nullptr, image.bits(), image.bytesPerLine(), nullptr);
    }
    const QString reason = QString::fromLatin1(png.message);
    const bool isRead = !image.isNull() && !PNG_IMAGE_FAILED(png);
    png_image_free(&png);
    if (!isRead)
        throw operationFailure(QStringLiteral("'%1' is not a PNG picture, or not a whole one: %2")
                                   .arg(fileName, reason.isEmpty() ? QStringLiteral("too large") : reason));
    return image;
}

void requireImageName(const QString& fileName)
{
    if (formatOf(fileName).isEmpty()) {
        throw usageFailure(
            QStringLiteral("Unsupported file extension of '%1'; use .png, .jpg or .bmp").arg(fileName));
    }
}

void writeImage(const QImage& image, const QString& fileName)
{
    const QByteArray content = toFile(image, fileName);
    const QFileInfo existing(fileName);
    if (existing.exists() && !existing.isFile()) {
        QFile device(fileName);
        if (!writeAll(device, content))
            throw cannotWrite(fileName, device.errorString());
        return;
    }
    QSaveFile file(fileName);
    // The file may be writable in a folder that is not.
    file.setDirectWriteFallback(true);
    if (!writeAll(file, content) || !file.commit())
        throw cannotWrite(fileName, file.errorString());
}

} // namespace Zendra::Runner
