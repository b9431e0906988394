#include "imagefile.h"

#include <array>

#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QSaveFile>

#include <png.h>

#include "failure.h"

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

/// Level 4 without filters: on screens, which are flat areas and text, a tenth larger than libpng's own
/// choice (level 6 with all filters tried on each row) and three times as fast.
constexpr int pngCompressionLevel = 4;

QByteArray formatOf(const QString& fileName)
{
    const QString ending = QFileInfo(fileName).suffix().toLower();
    for (const Ending& known : endings) {
        if (ending == QLatin1String(known.ending))
            return known.format;
    }
    return {};
}

Failure cannotWrite(const QString& fileName, const QString& reason)
{
    return operationFailure(QStringLiteral("Cannot write '%1': %2").arg(fileName, reason));
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
        png_set_compression_level(m_png, pngCompressionLevel);
        png_set_filter(m_png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
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

} // namespace

QByteArray toPng(const QImage& image)
{
    return PngWriter().write(image.convertToFormat(QImage::Format_RGB32));
}

void requireImageName(const QString& fileName)
{
    if (formatOf(fileName).isEmpty()) {
        throw usageFailure(
            QStringLiteral("The ending of '%1' names no picture format; use .png, .jpg or .bmp")
                .arg(fileName));
    }
}

void writeImage(const QImage& image, const QString& fileName)
{
    QSaveFile file(fileName);
    // A device or a link is written to as it is.
    file.setDirectWriteFallback(true);
    if (!file.open(QIODevice::WriteOnly))
        throw cannotWrite(fileName, file.errorString());
    const QByteArray format = formatOf(fileName);
    if (format == "png") {
        file.write(toPng(image));
    } else {
        QImageWriter writer(&file, format);
        writer.setQuality(jpegQuality);
        if (!writer.write(image))
            throw cannotWrite(fileName, writer.errorString());
    }
    if (!file.commit())
        throw cannotWrite(fileName, file.errorString());
}

} // namespace Zendra::Runner
