#include "mp4chapters.h"

#include <algorithm>

#include <QtEndian>

namespace Zendra::Video
{

namespace
{

constexpr int spaceSize = 8192;
constexpr int boxHeaderSize = 8;
constexpr int listHeaderSize = boxHeaderSize + 9; ///< version, reserved, count
constexpr int mostChapters = 255;
constexpr int longestTitle = 255;

template <typename Number>
QByteArray bigEndian(Number number)
{
    QByteArray bytes(sizeof number, '\0');
    qToBigEndian(number, bytes.data());
    return bytes;
}

QByteArray box(const char* type, const QByteArray& content)
{
    return bigEndian(static_cast<quint32>(boxHeaderSize + content.size())) + type + content;
}

/// The offset of the last box in a part of the file, if that consists of boxes and the last one has this
/// type.
std::optional<int> lastBox(const QByteArray& file, int begin, int end, const char* type)
{
    for (int offset = begin; end - offset >= boxHeaderSize;) {
        const auto size = qFromBigEndian<quint32>(file.constData() + offset);
        const auto left = static_cast<quint32>(end - offset);
        if (size < boxHeaderSize || size > left)
            return {};
        if (size == left)
            return file.mid(offset + 4, 4) == type ? std::optional<int>(offset) : std::nullopt;
        offset += static_cast<int>(size);
    }
    return {};
}

void enlarge(QByteArray& file, int offset, int size)
{
    char* place = file.data() + offset;
    qToBigEndian(qFromBigEndian<quint32>(place) + static_cast<quint32>(size), place);
}

/// The title without a half character at its end.
QByteArray shortened(const QByteArray& title)
{
    int size = std::min<int>(title.size(), longestTitle);
    const auto isContinuation
        = [&title](int index) { return (static_cast<unsigned char>(title[index]) & 0xC0U) == 0x80U; };
    while (size > 0 && size < title.size() && isContinuation(size))
        --size;
    return title.left(size);
}

} // namespace

std::optional<Mp4Chapters> Mp4Chapters::after(const QByteArray& header)
{
    const std::optional<int> moov = lastBox(header, 0, header.size(), "moov");
    if (!moov)
        return {};
    Mp4Chapters chapters;
    chapters.m_header = header;
    chapters.m_moov = *moov;
    chapters.m_udta = lastBox(header, *moov + boxHeaderSize, header.size(), "udta");
    return chapters;
}

QByteArray Mp4Chapters::space()
{
    return box("free", QByteArray(spaceSize - boxHeaderSize, '\0'));
}

void Mp4Chapters::add(const QByteArray& title, long long time)
{
    constexpr quint64 unitsInMillisecond = 10'000;
    const QByteArray text = shortened(title);
    const QByteArray entry
        = bigEndian(static_cast<quint64>(time) * unitsInMillisecond) + static_cast<char>(text.size()) + text;
    // Also for the headers of "udta" and of what stays free.
    const int left = spaceSize - listHeaderSize - 2 * boxHeaderSize - static_cast<int>(m_entries.size());
    if (m_count == mostChapters || entry.size() > left)
        return;
    m_entries += entry;
    ++m_count;
}

void Mp4Chapters::clear()
{
    m_entries.clear();
    m_count = 0;
}

QByteArray Mp4Chapters::header() const
{
    const QByteArray list = box("chpl",
        bigEndian(quint32 {0x01000000}) + bigEndian(quint32 {0}) + static_cast<char>(m_count) + m_entries);
    const int listSpace = m_udta ? spaceSize : spaceSize - boxHeaderSize;
    const int freeSize = listSpace - static_cast<int>(list.size()) - boxHeaderSize;
    const QByteArray content = list + box("free", QByteArray(freeSize, '\0'));
    QByteArray file = m_header;
    enlarge(file, m_moov, spaceSize);
    if (!m_udta)
        return file + box("udta", content);
    enlarge(file, *m_udta, spaceSize);
    return file + content;
}

} // namespace Zendra::Video
