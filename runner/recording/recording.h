#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QElapsedTimer>
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

class StreamWriter;

struct RecordingSettings {
    QString fileName;
    Video::ScreenRecordFormat format = Video::RleFormat;
    int fps = 25;
    bool isLossless = false; ///< for movies
};

/// What there is of a recording so far.
struct RecordingState {
    qint64 milliseconds = 0; ///< since the first picture
    int frames = 0;          ///< pictures that came
    qint64 size = 0;         ///< of the file, in bytes
};

/// A recording of the screen into a file, while the event loop of its thread runs.
class Recording
{
public:
    struct Events {
        std::function<void()> begun; ///< the first picture is there
        std::function<void()> ended; ///< it cannot go on; finish() says why
    };

    /// Throws a Failure. A file that was there stays as it was when the display cannot be recorded.
    Recording(NativeInterface& native, const RecordingSettings& settings, Events events);
    ~Recording();

    RecordingState state() const;
    /// Ends the recording and completes its file. Throws a Failure for whatever went wrong since it began.
    RecordingState finish();
    /// The same for a recording of which another failure is told.
    void keep();

private:
    Q_DISABLE_COPY(Recording)

    void takeSegment(const QByteArray& segment);
    void takeEnd(unsigned int code, const QString& text);
    qint64 now() const;
    template <typename Action>
    void guarded(Action action);

    Events m_events;
    std::unique_ptr<StreamWriter> m_writer;
    std::unique_ptr<BinaryStream> m_stream; ///< may still send something when it ends
    QElapsedTimer m_clock;
    bool m_hasBegun = false; ///< whether the first picture is there, from which on the clock runs
    QTimer m_still;
    bool m_isFinishing = false;
    std::optional<Failure> m_failure;
};

} // namespace Zendra::Runner
