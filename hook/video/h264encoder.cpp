#include "h264encoder.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include <QScopeGuard>

#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>

extern "C" {
#include <libavutil/opt.h>
}

namespace Zendra::Video
{

namespace
{

/// Ten seconds at 25 frames a second, which a player may have to decode when it seeks. In frames, since a
/// still screen has one frame a second, and a key frame is a thousand times as large as a repeated one.
constexpr int keyFrameInterval = 250;

constexpr int bytesPerPixel = 4;

void check(int result)
{
    if (result < 0)
        throw std::runtime_error("The H.264 encoder failed: " + ffmpegError(result));
}

/// The pixel formats of an encoder; null if unknown.
const AVPixelFormat* pixelFormats(const AVCodec* codec)
{
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
    const void* formats = nullptr;
    avcodec_get_supported_config(nullptr, codec, AV_CODEC_CONFIG_PIX_FORMAT, 0, &formats, nullptr);
    return static_cast<const AVPixelFormat*>(formats);
#else
    return codec->pix_fmts;
#endif
}

bool takesYuv420(const AVCodec* codec)
{
    const AVPixelFormat* format = pixelFormats(codec);
    while (format != nullptr && *format != AV_PIX_FMT_NONE && *format != AV_PIX_FMT_YUV420P)
        ++format;
    return format != nullptr && *format == AV_PIX_FMT_YUV420P;
}

bool isUsable(const AVCodec* codec)
{
    constexpr int unfit = AV_CODEC_CAP_HARDWARE | AV_CODEC_CAP_HYBRID | AV_CODEC_CAP_EXPERIMENTAL;
    return codec->id == AV_CODEC_ID_H264 && av_codec_is_encoder(codec) != 0
        && (codec->capabilities & unfit) == 0 && takesYuv420(codec);
}

/// With a constant quantiser, repeating a still picture costs a dozen bytes and less than half the time that
/// it takes with rate control, which keeps refining the picture, and new content is as sharp as the rest.
/// At 23, screens of text stay above 37 dB, where the limit is the halved colour resolution. A scrolling
/// terminal takes half the bytes of "ultrafast", which has no CABAC and no small partitions, at 1.3 times its
/// CPU. Only pictures beyond the highest level of H.264 (8192x4320) have that preset: it keeps 7 bytes a
/// pixel instead of 16.
void setQuality(AVCodecContext* codec, AVDictionary** options)
{
    if (std::strcmp(codec->codec->name, "libx264") == 0) {
        constexpr int64_t largestPicture = int64_t {139264} * 256; // macroblocks of level 6.2
        const bool isHuge = int64_t {codec->width} * codec->height > largestPicture;
        av_dict_set(options, "preset", isHuge ? "ultrafast" : "superfast", 0);
        av_dict_set(options, "tune", "zerolatency", 0);
        av_dict_set(options, "qp", "23", 0);
    } else {
        // Others only have a bit rate: enough for a new screen within a few frames.
        codec->bit_rate = std::max<int64_t>(1000000, int64_t {6} * codec->width * codec->height);
    }
}

/// As convert() does: libyuv's I420 is BT.601 in limited range, with chroma at the centre of four pixels. The
/// colours of the screen are sRGB.
void setColours(AVCodecContext* codec)
{
    codec->pix_fmt = AV_PIX_FMT_YUV420P;
    codec->color_range = AVCOL_RANGE_MPEG;
    codec->colorspace = AVCOL_SPC_SMPTE170M;
    codec->color_primaries = AVCOL_PRI_BT709;
    codec->color_trc = AVCOL_TRC_IEC61966_2_1;
    codec->chroma_sample_location = AVCHROMA_LOC_CENTER;
}

/// As fast as possible, since a lossless movie is large in any case. Both encoders take RGB.
void setLossless(AVCodecContext* codec, AVDictionary** options)
{
    codec->pix_fmt = AV_PIX_FMT_BGR0;
    codec->color_range = AVCOL_RANGE_JPEG;
    codec->colorspace = AVCOL_SPC_RGB;
    codec->color_primaries = AVCOL_PRI_BT709;
    codec->color_trc = AVCOL_TRC_IEC61966_2_1;
    if (codec->codec_id != AV_CODEC_ID_H264)
        return;
    av_dict_set(options, "preset", "ultrafast", 0);
    av_dict_set(options, "tune", "zerolatency", 0);
    av_dict_set(options, "qp", "0", 0);
}

/// Rounded up to keep the last row and column of a screen of odd size. The padding repeats them, which costs
/// almost nothing.
QSize roundedUp(const QSize& size)
{
    if (size.isEmpty())
        throw std::runtime_error("The H.264 encoder needs pictures of at least one pixel");
    return {size.width() + size.width() % 2, size.height() + size.height() % 2};
}

} // namespace

const AVCodec* findH264Encoder()
{
    for (const char* name : {"libx264", "libopenh264"}) {
        const AVCodec* codec = avcodec_find_encoder_by_name(name);
        if (codec != nullptr && isUsable(codec))
            return codec;
    }
    void* position = nullptr;
    const AVCodec* codec = nullptr;
    do
        codec = av_codec_iterate(&position);
    while (codec != nullptr && !isUsable(codec));
    return codec;
}

const AVCodec* findLosslessEncoder(const char* name)
{
    if (name != nullptr)
        return avcodec_find_encoder_by_name(name);
    const AVCodec* codec = avcodec_find_encoder_by_name("libx264rgb");
    return codec != nullptr ? codec : avcodec_find_encoder(AV_CODEC_ID_FFV1);
}

H264Encoder::H264Encoder(const QSize& inputSize)
    : H264Encoder(inputSize, roundedUp(inputSize), findH264Encoder(), false)
{
}

H264Encoder::H264Encoder(const QSize& inputSize, const AVCodec* losslessEncoder)
    : H264Encoder(inputSize, inputSize, losslessEncoder, true)
{
}

H264Encoder::H264Encoder(
    const QSize& inputSize, const QSize& frameSize, const AVCodec* encoder, bool isLossless)
    : m_encoder(encoder)
    , m_isLossless(isLossless)
    , m_inputSize(inputSize)
    , m_frameSize(frameSize)
    , m_parameters(avcodec_parameters_alloc())
    , m_frame(av_frame_alloc())
    , m_packet(av_packet_alloc())
{
    if (m_parameters == nullptr || m_frame == nullptr || m_packet == nullptr)
        throw std::bad_alloc();
    openCodec();
    m_frame->format = m_codec->pix_fmt;
    m_frame->width = m_codec->width;
    m_frame->height = m_codec->height;
    check(av_frame_get_buffer(m_frame.get(), 0));
}

void H264Encoder::openCodec()
{
    if (m_encoder == nullptr) {
        throw std::runtime_error(m_isLossless ? "libavcodec has neither libx264rgb nor FFV1 here"
                                              : "libavcodec has no H.264 encoder here");
    }
    FFmpegPointer<AVCodecContext> codec(avcodec_alloc_context3(m_encoder));
    if (codec == nullptr)
        throw std::bad_alloc();
    // Errors are thrown; FFmpeg's messages would go to the standard error of the host.
    codec->log_level_offset = AV_LOG_MAX_OFFSET;
    codec->width = m_frameSize.width();
    codec->height = m_frameSize.height();
    codec->time_base = {1, 1000};
    codec->framerate = {25, 1};
    codec->gop_size = keyFrameInterval;
    codec->max_b_frames = 0;
    codec->thread_count = 1;
    codec->flags |= AV_CODEC_FLAG_LOW_DELAY;
    AVDictionary* options = nullptr;
    if (m_isLossless) {
        setLossless(codec.get(), &options);
    } else {
        setColours(codec.get());
        setQuality(codec.get(), &options);
    }
    const int result = avcodec_open2(codec.get(), m_encoder, &options);
    const FFmpegPointer<AVDictionary> unusedOptions(options);
    if (result < 0) {
        throw std::runtime_error("The encoder " + std::string(m_encoder->name) + " cannot encode "
            + std::to_string(codec->width) + "x" + std::to_string(codec->height)
            + " pixels: " + ffmpegError(result));
    }
    check(avcodec_parameters_from_context(m_parameters.get(), codec.get()));
    m_codec = std::move(codec);
}

void H264Encoder::start(Compressor::PacketConsumer* consumer)
{
    if (consumer == nullptr)
        throw std::runtime_error("The H.264 encoder needs somebody to take its packets");
    if (m_consumer != nullptr)
        throw std::runtime_error("The H.264 encoder is started already");
    // A drained encoder cannot be used again.
    if (m_codec == nullptr)
        openCodec();
    m_consumer = consumer;
    m_hasFrame = false;
    m_lastTime = std::numeric_limits<long long>::min();
}

void H264Encoder::appendFrame(const unsigned char* pixels, int bytesPerLine, long long time)
{
    requireStart();
    // The encoder may still reference the planes of the previous frame.
    check(av_frame_make_writable(m_frame.get()));
    convert(pixels, bytesPerLine);
    m_hasFrame = true;
    encodeFrame(time);
}

void H264Encoder::repeatFrame(long long time)
{
    requireStart();
    if (m_hasFrame)
        encodeFrame(time);
}

void H264Encoder::finish()
{
    if (m_consumer == nullptr)
        return;
    // Also when the consumer throws.
    const auto end = qScopeGuard([this] {
        m_consumer = nullptr;
        m_codec.reset();
    });
    encode(nullptr);
}

void H264Encoder::convert(const unsigned char* pixels, int bytesPerLine)
{
    if (pixels == nullptr)
        throw std::runtime_error("The H.264 encoder failed: the frame has no pixels");
    const int width = m_inputSize.width();
    const int height = m_inputSize.height();
    if (m_isLossless) {
        libyuv::CopyPlane(
            pixels, bytesPerLine, m_frame->data[0], m_frame->linesize[0], width * bytesPerPixel, height);
        return;
    }
    uint8_t* const* planes = m_frame->data;
    const int* strides = m_frame->linesize;
    // libyuv's ARGB is B, G, R, X in memory, as a pixel 0x00RRGGBB.
    static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN, "pixels have another order of bytes here");
    if (libyuv::ARGBToI420(pixels, bytesPerLine, planes[0], strides[0], planes[1], strides[1], planes[2],
            strides[2], width, height)
        != 0)
        throw std::runtime_error("The H.264 encoder failed: the frame has no pixels");
    // Half the size, rounded up.
    uint8_t* luma = planes[0];
    const auto stride = static_cast<size_t>(strides[0]);
    if (width % 2 != 0) {
        for (int y = 0; y < height; ++y) {
            uint8_t* end = luma + static_cast<size_t>(y) * stride + width;
            end[0] = end[-1];
        }
    }
    if (height % 2 != 0) {
        uint8_t* added = luma + static_cast<size_t>(height) * stride;
        std::memcpy(added, added - stride, static_cast<size_t>(m_frameSize.width()));
    }
}

void H264Encoder::encodeFrame(long long time)
{
    // Timestamps must increase for containers and players.
    if (m_lastTime != std::numeric_limits<long long>::min())
        time = std::max(time, m_lastTime + 1);
    m_lastTime = time;
    m_frame->pts = time;
    encode(m_frame.get());
}

/// Encodes a frame, or drains the encoder for a null one.
void H264Encoder::encode(const AVFrame* frame)
{
    check(avcodec_send_frame(m_codec.get(), frame));
    for (;;) {
        const int result = avcodec_receive_packet(m_codec.get(), m_packet.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF)
            return;
        check(result);
        m_consumer->appendPacket(m_packet.get());
    }
}

void H264Encoder::requireStart() const
{
    if (m_consumer == nullptr)
        throw std::runtime_error("The H.264 encoder takes frames between its start and its end only");
}

} // namespace Zendra::Video
