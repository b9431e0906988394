#pragma once

#include <optional>

#include <QByteArray>

namespace Zendra::Video
{

/// The list of chapters (the box "chpl") of an MP4 file whose header is written before its chapters are
/// known.
///
/// Space behind the header becomes a part of its last box, so that nothing else moves.
class Mp4Chapters
{
public:
    /// `header` is the file so far. Null if that does not end with the box "moov".
    static std::optional<Mp4Chapters> after(const QByteArray& header);
    /// What the file must have behind its header: a box that players skip.
    static QByteArray space();

    /// One without room is left out. `time` is in milliseconds.
    void add(const QByteArray& title, long long time);
    void clear();
    /// The beginning of the file, header and space, with the chapters.
    QByteArray header() const;

private:
    QByteArray m_header;
    int m_moov = 0;            ///< its offset
    std::optional<int> m_udta; ///< of the last box in "moov", if that is one of this type
    QByteArray m_entries;
    int m_count = 0;
};

} // namespace Zendra::Video
