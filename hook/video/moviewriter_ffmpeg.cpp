#include "moviewriter_ffmpeg.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>

#include <QFileInfo>

namespace Zendra::Video
{

namespace
{

constexpr AVRational milliseconds {1, 1000};

/// The duration of a fragment, in milliseconds, which is lost if the process is killed. Each costs some
/// hundred bytes and a read when a player opens the file.
constexpr long long fragmentDuration = 500;

/// The duration of the last picture if finish() was not called.
constexpr long long unknownDuration = 40;

const AVOutputFormat* containerFor(const QString& fileName)
{
    const QString ending = QFileInfo(fileName).suffix().toLower();
    const char* name = nullptr;
    if (ending == QLatin1String("mp4"))
        name = "mp4";
    else if (ending == QLatin1String("mkv"))
        name = "matroska";
    else {
        throw std::runtime_error(
            "Cannot write '" + fileName.toStdString() + "': a movie's name ends in .mp4 or .mkv");
    }
    const AVOutputFormat* container = av_guess_format(name, nullptr, nullptr);
    if (container == nullptr) {
        throw std::runtime_error("Cannot write '" + fileName.toStdString() + "': libavformat has no "
            + std::string(name) + " writer here");
    }
    return container;
}

/// The parameter sets at the beginning of an Annex B stream, each after a start code. Empty unless there is
/// one of either kind.
std::string parameterSets(std::string_view accessUnit)
{
    using namespace std::string_view_literals;
    constexpr auto startCode = "\0\0\1"sv;
    constexpr unsigned sequenceParameters = 7;
    constexpr unsigned pictureParameters = 8;
    std::string found;
    unsigned kinds = 0;
    size_t start = accessUnit.find(startCode);
    while (start != std::string_view::npos) {
        start += startCode.size();
        const size_t next = accessUnit.find(startCode, start);
        std::string_view unit = accessUnit.substr(start, next - start);
        // A start code may have four bytes, and a unit does not end with a zero byte.
        unit = unit.substr(0, unit.find_last_not_of('\0') + 1);
        const unsigned kind = unit.empty() ? 0 : static_cast<unsigned char>(unit.front()) & 31U;
        if (kind == sequenceParameters || kind == pictureParameters) {
            kinds |= 1U << kind;
            found += "\0\0\0\1"sv;
            found += unit;
        }
        start = next;
    }
    return kinds == (1U << sequenceParameters | 1U << pictureParameters) ? found : std::string();
}

/// This writer ends the fragments; timestamps are milliseconds. Matroska needs no options.
FFmpegPointer<AVDictionary> mp4Options()
{
    AVDictionary* options = nullptr;
    av_dict_set(&options, "movflags", "+empty_moov+default_base_moof+frag_custom", 0);
    av_dict_set(&options, "video_track_timescale", "1000", 0);
    return FFmpegPointer<AVDictionary>(options);
}

} // namespace

FFmpegMovieWriter::FFmpegMovieWriter(const QString& fileName)
    : m_container(containerFor(fileName))
    , m_file(fileName)
    , m_held(av_packet_alloc())
{
    av_log_set_level(AV_LOG_QUIET); // errors are thrown
    AVFormatContext* muxer = nullptr;
    if (m_held == nullptr || avformat_alloc_output_context2(&muxer, m_container, nullptr, nullptr) < 0)
        throw std::bad_alloc();
    m_muxer.reset(muxer);
    m_muxer->pb = m_file.io();
    m_muxer->flags |= AVFMT_FLAG_CUSTOM_IO;
}

FFmpegMovieWriter::~FFmpegMovieWriter()
{
    if (m_state != State::Writing)
        return;
    try {
        finishChecked(m_held->pts + unknownDuration);
    } catch (const std::exception&) {
        // The file up to here can be played.
    }
}

void FFmpegMovieWriter::start(const QSize& frameSize, const AVCodecParameters* parameters)
{
    if (m_state != State::Opened)
        throw std::runtime_error(m_file.errorText("the movie is started already"));
    if (frameSize.isEmpty())
        throw std::runtime_error(m_file.errorText("a movie's pictures have at least one pixel"));
    if (parameters != nullptr && parameters->codec_id != AV_CODEC_ID_H264) {
        m_parameters.reset(avcodec_parameters_alloc());
        if (m_parameters == nullptr)
            throw std::bad_alloc();
        check(avcodec_parameters_copy(m_parameters.get(), parameters));
    }
    m_frameSize = frameSize;
    m_state = State::Started;
}

void FFmpegMovieWriter::append(const QByteArray& accessUnit, bool isKeyFrame, long long time)
{
    if (m_state != State::Started && m_state != State::Writing)
        refuse();
    try {
        appendChecked(accessUnit, isKeyFrame, time);
    } catch (const std::exception&) {
        m_state = State::Failed;
        throw;
    }
}

void FFmpegMovieWriter::finish(long long endTime)
{
    if (m_state == State::Finished)
        return;
    if (m_state != State::Writing)
        refuse();
    finishChecked(endTime);
}

void FFmpegMovieWriter::addChapter(const QString& title, long long time)
{
    time = std::max<long long>(time, m_chapters.empty() ? 0 : m_chapters.back().time);
    m_chapters.push_back({title.toUtf8(), time});
    if (m_state == State::Writing)
        writeChapterList();
}

/// Throws the reason why the state does not allow the call.
void FFmpegMovieWriter::refuse()
{
    m_file.flush();
    switch (m_state) {
    case State::Opened:
        throw std::runtime_error(m_file.errorText("the movie is not started"));
    case State::Started:
        throw std::runtime_error(m_file.errorText("the movie has no picture"));
    case State::Failed:
        throw std::runtime_error(m_file.errorText("it failed before"));
    default:
        throw std::runtime_error(m_file.errorText("the movie is complete"));
    }
}

void FFmpegMovieWriter::appendChecked(const QByteArray& accessUnit, bool isKeyFrame, long long time)
{
    if (m_state == State::Started) {
        writeHeader(accessUnit);
        m_state = State::Writing;
        // The first picture is shown from the beginning.
        time = 0;
    } else {
        time = std::max<long long>(time, m_held->pts + 1);
        writeHeld(time);
    }
    hold(accessUnit, isKeyFrame, time);
    if (time - m_flushedUntil >= fragmentDuration) {
        flushFragment();
        m_flushedUntil = time;
    }
}

void FFmpegMovieWriter::finishChecked(long long endTime)
{
    // Unless all of the following succeeds.
    m_state = State::Failed;
    endTime = std::max<long long>(endTime, m_held->pts + 1);
    writeHeld(endTime);
    flushFragment();
    if (!isMp4())
        passChaptersToMuxer(endTime);
    check(av_write_trailer(m_muxer.get()));
    m_file.flush();
    m_state = State::Finished;
}

void FFmpegMovieWriter::writeHeader(const QByteArray& accessUnit)
{
    AVStream* stream = avformat_new_stream(m_muxer.get(), nullptr);
    if (stream == nullptr)
        throw std::bad_alloc();
    stream->time_base = milliseconds;
    if (m_parameters != nullptr)
        check(avcodec_parameters_copy(stream->codecpar, m_parameters.get()));
    else
        setH264Parameters(stream->codecpar, accessUnit);

    AVDictionary* options = isMp4() ? mp4Options().release() : nullptr;
    const int result = avformat_write_header(m_muxer.get(), &options);
    const FFmpegPointer<AVDictionary> unusedOptions(options);
    check(result);
    m_file.flush();
    if (isMp4() && m_file.isSeekable())
        reserveChapterList();
}

bool FFmpegMovieWriter::isMp4() const
{
    return std::strcmp(m_container->name, "mp4") == 0;
}

/// libavformat writes the chapters of an MP4 file with its header, when they are not known yet.
void FFmpegMovieWriter::reserveChapterList()
{
    m_chapterList = Mp4Chapters::after(m_file.takeBeginning());
    if (!m_chapterList)
        return;
    const QByteArray space = Mp4Chapters::space();
    avio_write(m_muxer->pb, reinterpret_cast<const unsigned char*>(space.constData()), space.size());
    m_file.flush();
    if (!m_chapters.empty())
        writeChapterList();
}

void FFmpegMovieWriter::writeChapterList()
{
    if (!m_chapterList)
        return;
    m_chapterList->clear();
    for (const Chapter& chapter : m_chapters)
        m_chapterList->add(chapter.title, chapter.time);
    m_file.replaceBeginning(m_chapterList->header());
}

/// The muxer writes them at the end, and frees them.
void FFmpegMovieWriter::passChaptersToMuxer(long long endTime)
{
    for (std::size_t index = 0; index < m_chapters.size(); ++index) {
        const bool isLast = index + 1 == m_chapters.size();
        auto* chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
        if (chapter == nullptr)
            throw std::bad_alloc();
        chapter->id = static_cast<int64_t>(index) + 1;
        chapter->time_base = milliseconds;
        chapter->start = m_chapters[index].time;
        chapter->end = std::max<long long>(chapter->start, isLast ? endTime : m_chapters[index + 1].time);
        av_dict_set(&chapter->metadata, "title", m_chapters[index].title.constData(), 0);
        int count = static_cast<int>(m_muxer->nb_chapters);
        check(av_dynarray_add_nofree(&m_muxer->chapters, &count, chapter));
        m_muxer->nb_chapters = static_cast<unsigned int>(count);
    }
}

/// The parameter sets are in the first packet.
void FFmpegMovieWriter::setH264Parameters(AVCodecParameters* codec, const QByteArray& accessUnit)
{
    const std::string sets = parameterSets({accessUnit.constData(), static_cast<size_t>(accessUnit.size())});
    if (sets.empty())
        throw std::runtime_error(m_file.errorText("the first picture comes without H.264 parameter sets"));
    codec->codec_type = AVMEDIA_TYPE_VIDEO;
    codec->codec_id = AV_CODEC_ID_H264;
    codec->width = m_frameSize.width();
    codec->height = m_frameSize.height();
    codec->extradata = static_cast<uint8_t*>(av_mallocz(sets.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (codec->extradata == nullptr)
        throw std::bad_alloc();
    std::memcpy(codec->extradata, sets.data(), sets.size());
    codec->extradata_size = static_cast<int>(sets.size());
}

void FFmpegMovieWriter::hold(const QByteArray& accessUnit, bool isKeyFrame, long long time)
{
    av_packet_unref(m_held.get());
    // A copy with the padding that FFmpeg requires.
    check(av_new_packet(m_held.get(), accessUnit.size()));
    std::memcpy(m_held->data, accessUnit.constData(), static_cast<size_t>(accessUnit.size()));
    m_held->pts = time;
    m_held->dts = time;
    m_held->flags = isKeyFrame ? AV_PKT_FLAG_KEY : 0;
}

/// Writes the held picture, which is shown until the given time.
void FFmpegMovieWriter::writeHeld(long long until)
{
    m_held->duration = until - m_held->pts;
    av_packet_rescale_ts(m_held.get(), milliseconds, m_muxer->streams[0]->time_base);
    check(av_write_frame(m_muxer.get(), m_held.get()));
}

/// Ends the fragment or cluster and writes it to the file.
void FFmpegMovieWriter::flushFragment()
{
    check(av_write_frame(m_muxer.get(), nullptr));
    m_file.flush();
}

void FFmpegMovieWriter::check(int result)
{
    if (result >= 0)
        return;
    m_file.flush();
    throw std::runtime_error(m_file.errorText(ffmpegError(result)));
}

} // namespace Zendra::Video
