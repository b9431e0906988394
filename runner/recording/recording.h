#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QElapsedTimer>
#include <QRect>
#include <QString>
#include <QTimer>

#include <zendra/video/screenrecordformat.h>

#include "cli/failure.h"

namespace Zendra
{
class BinaryStream;
class NativeInterface;
} // namespace Zendra

namespace Zendra::Runner
{

class AnnotatingSink;
class StreamWriter;

struct RecordingSettings {
    QString fileName;
    Video::ScreenRecordFormat format = Video::RleFormat;
    int fps = 25;
    bool isLossless = false; ///< for movies
    // Of movies in the RLE format:
    bool hasPointer = true;
    bool hasCaptions = false; ///< needs a QGuiApplication, for fonts
    QRect area;               ///< null for the whole screen
};

/// The progress of a recording.
struct RecordingState {
    qint64 milliseconds = 0; ///< since the first picture
    int frames = 0;          ///< received
    qint64 size = 0;         ///< of the file, in bytes
};

/// A recording of the screen into a file, while the event loop of its thread runs.
class Recording
{
public:
    struct Events {
        std::function<void()> begun; ///< the first picture has been received
        std::function<void()> ended; ///< it cannot go on; finish() says why
    };

    /// Throws a Failure. An existing file is not changed when the display cannot be recorded. The pointer and
    /// keys of `displayName` are shown; if that is empty, none are.
    Recording(NativeInterface& native, const QByteArray& displayName, const RecordingSettings& settings,
        Events events);
    ~Recording();

    RecordingState state() const;
    /// Begins a chapter of a movie now. Any thread may call it once the recording has begun.
    void addChapter(const QString& title);
    /// Ends the recording and completes its file. Throws the first Failure since its beginning.
    RecordingState finish();
    /// The same without a Failure, where another one is reported.
    void keep();

private:
    Q_DISABLE_COPY(Recording)

    class ChapterReceiver;

    void makeWriter(const QByteArray& displayName, const RecordingSettings& settings);
    void scheduleRefresh();
    void takeSegment(const QByteArray& segment);
    void takeEnd(unsigned int code, const QString& text);
    qint64 now() const;
    template <typename Action>
    void guarded(Action action);

    Events m_events;
    std::unique_ptr<StreamWriter> m_writer;
    AnnotatingSink* m_annotating = nullptr; ///< the writer's, if it has one
    QTimer m_refresh;
    std::unique_ptr<BinaryStream> m_stream;    ///< may send segments when it ends
    const std::unique_ptr<QObject> m_chapters; ///< receives them from other threads
    QElapsedTimer m_clock;
    bool m_hasBegun = false; ///< the first picture was received, and the clock runs
    QTimer m_still;
    bool m_isFinishing = false;
    std::optional<Failure> m_failure;
};

} // namespace Zendra::Runner
