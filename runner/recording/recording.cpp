#include "recording.h"

#include <utility>

#include <QCoreApplication>
#include <QEvent>

#include <protocol/logging.h>
#include <zendra/binarystream.h>
#include <zendra/nativeinterface.h>

#include "annotatingsink.h"
#include "recordingfile.h"
#include "streamwriter.h"

namespace Zendra::Runner
{

namespace
{

/// Milliseconds between calls of StreamWriter::still().
constexpr int stillInterval = 500;

struct StreamListener final : ResponseListener<BinaryStream*> {
    void response(const Result<BinaryStream*>& result) override { answer = result; }

    Result<BinaryStream*> answer {nullptr, QStringLiteral("The platform plug-in did not answer")};
};

std::unique_ptr<BinaryStream> requestStream(NativeInterface& native, Video::ScreenRecordFormat format)
{
    StreamListener listener;
    native.recordScreen(static_cast<unsigned int>(format), {}, &listener);
    std::unique_ptr<BinaryStream> stream(listener.answer.value);
    QString errorText = listener.answer.errorText;
    if (errorText.startsWith(QLatin1String("Recording needs")))
        errorText += QLatin1String("; start the X server with depth 24, as --headless does");
    require(errorText);
    return stream;
}

struct ChapterEvent final : QEvent {
    ChapterEvent(QString chapterTitle, qint64 chapterTime)
        : QEvent(QEvent::User)
        , title(std::move(chapterTitle))
        , time(chapterTime)
    {
    }

    const QString title;
    const qint64 time;
};

} // namespace

class Recording::ChapterReceiver : public QObject
{
public:
    explicit ChapterReceiver(Recording& recording)
        : m_recording(recording)
    {
    }

    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        const auto& chapter = static_cast<const ChapterEvent&>(*event);
        if (!m_recording.m_failure) {
            m_recording.guarded(
                [this, &chapter] { m_recording.m_writer->addChapter(chapter.title, chapter.time); });
        }
        return true;
    }

private:
    Recording& m_recording;
};

Recording::Recording(
    NativeInterface& native, const QByteArray& displayName, const RecordingSettings& settings, Events events)
    : m_events(std::move(events))
    , m_stream(requestStream(native, settings.format))
    , m_chapters(std::make_unique<ChapterReceiver>(*this))
{
    require(m_stream->configure({{QStringLiteral("fps"), settings.fps}}));
    guarded([&] { makeWriter(displayName, settings); });
    if (m_failure)
        throw Failure(*m_failure);
    QObject::connect(m_stream.get(), &BinaryStream::nextSegment,
        [this](const QByteArray& segment) { takeSegment(segment); });
    QObject::connect(m_stream.get(), &BinaryStream::closed,
        [this](unsigned int code, const QString& text) { takeEnd(code, text); });
    QObject::connect(&m_still, &QTimer::timeout, [this] { guarded([this] { m_writer->still(now()); }); });
}

Recording::~Recording() = default;

void Recording::makeWriter(const QByteArray& displayName, const RecordingSettings& settings)
{
    const bool hasAnnotations = !displayName.isEmpty() && (settings.hasPointer || settings.hasCaptions);
    const bool hasPictures
        = settings.format == Video::RleFormat && fileKind(settings.fileName) == FileKind::Movie;
    if (!hasPictures || (!hasAnnotations && settings.area.isNull())) {
        m_writer = makeStreamWriter(settings.fileName, settings.format, settings.isLossless);
        return;
    }
    std::unique_ptr<Annotations> annotations;
    if (hasAnnotations) {
        annotations = std::make_unique<Annotations>(
            displayName, Annotations::Settings {settings.hasPointer, settings.hasCaptions}, [this] {
                m_annotating->setDirty();
                scheduleRefresh();
            });
    }
    auto sink = std::make_unique<AnnotatingSink>(makeFrameSink(settings.fileName, settings.isLossless),
        settings.area, settings.fps, std::move(annotations));
    m_annotating = sink.get();
    m_writer = std::make_unique<PictureWriter>(std::move(sink));
    m_refresh.setSingleShot(true);
    m_refresh.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_refresh, &QTimer::timeout, [this] {
        guarded([this] { m_annotating->refresh(now()); });
        scheduleRefresh();
    });
}

/// Arms the timer for the next picture that the annotations need.
void Recording::scheduleRefresh()
{
    const int delay
        = m_annotating == nullptr || m_failure || m_isFinishing ? -1 : m_annotating->nextRefresh(now());
    if (delay < 0)
        m_refresh.stop();
    else
        m_refresh.start(delay);
}

RecordingState Recording::state() const
{
    return {now(), m_writer->frames(), m_writer->size()};
}

void Recording::addChapter(const QString& title)
{
    QCoreApplication::postEvent(m_chapters.get(), new ChapterEvent(title, m_clock.elapsed()));
}

RecordingState Recording::finish()
{
    const qint64 end = now();
    // Complete the file also after a failure.
    const bool canGoOn = !m_failure;
    keep();
    if (canGoOn && m_writer->frames() == 0)
        m_failure = operationFailure(QStringLiteral("Nothing was recorded: the first picture did not come"));
    if (m_failure)
        throw Failure(*m_failure);
    return {end, m_writer->frames(), m_writer->size()};
}

void Recording::keep()
{
    const qint64 end = now();
    QCoreApplication::sendPostedEvents(m_chapters.get());
    m_still.stop();
    m_refresh.stop();
    // The encoder sends its last packets now.
    m_isFinishing = true;
    m_stream->stop();
    guarded([this, end] { m_writer->finish(end); });
}

void Recording::takeSegment(const QByteArray& segment)
{
    if (m_failure)
        return;
    // Not the time until the first picture, for which a module may have been loaded.
    if (!m_hasBegun)
        m_clock.start();
    guarded([this, &segment] { m_writer->take(segment, m_clock.elapsed()); });
    if (!m_hasBegun && m_writer->frames() > 0) {
        m_hasBegun = true;
        qCDebug(recordingLog, "The first frame has come");
        m_still.start(stillInterval);
        m_events.begun();
    }
    qCDebug(recordingLog, "Segment of %d bytes at %lld ms; %d frames", static_cast<int>(segment.size()),
        m_clock.elapsed(), m_writer->frames());
    scheduleRefresh();
    m_stream->bytesReceived(static_cast<unsigned int>(segment.size()));
}

void Recording::takeEnd(unsigned int code, const QString& text)
{
    qCDebug(recordingLog, "The stream was closed: %u %s", code, qPrintable(text));
    if (m_isFinishing)
        return;
    const QString reason
        = text.isEmpty() ? QStringLiteral("The recording ended with code %1").arg(code) : text;
    guarded([&reason] { throw operationFailure(reason); });
}

qint64 Recording::now() const
{
    return m_hasBegun ? m_clock.elapsed() : 0;
}

/// Keeps the first failure. Exceptions must not pass through the stream or the event loop.
template <typename Action>
void Recording::guarded(Action action)
{
    try {
        action();
        return;
    } catch (const Failure& failure) {
        if (!m_failure)
            m_failure = failure;
    } catch (const std::exception& failure) {
        if (!m_failure)
            m_failure = operationFailure(QString::fromUtf8(failure.what()));
    }
    m_still.stop();
    m_refresh.stop();
    if (!m_isFinishing)
        m_events.ended();
}

} // namespace Zendra::Runner
