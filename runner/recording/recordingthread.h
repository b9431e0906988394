#pragma once

#include <mutex>
#include <optional>

#include <QByteArray>
#include <QThread>

#include "recording.h"
#include "x11/connection.h"

namespace Zendra::Runner
{

class Session;

/// A recording on a thread of its own, with its own plug-in and connection, while this thread is busy.
///
/// Xlib must have been initialized for threads; see allowThreads().
class RecordingThread : public QThread
{
    Q_OBJECT

public:
    RecordingThread(QByteArray displayName, RecordingSettings settings);
    /// Ends the recording.
    ~RecordingThread() override;

    /// Starts the recording and waits for its first picture. Throws a Failure, also when interrupted. The
    /// session's chapters become those of the movie until this object is destroyed.
    void begin(Session& session);
    /// Begins a chapter of a movie now. Does nothing before the beginning and after a failure.
    void addChapter(const QString& title);
    /// Ends the recording and completes its file. Throws the first Failure since its beginning.
    RecordingState end();

Q_SIGNALS:
    /// The first picture was received. After an earlier failure finished() is emitted instead.
    void begun();

protected:
    void run() override;

private:
    void record();
    void setRecording(Recording* recording);

    const QByteArray m_displayName;
    const RecordingSettings m_settings;
    const ConnectionPointer m_extensionUser; ///< while the thread closes its connection
    Session* m_session = nullptr;            ///< whose chapters are taken
    std::mutex m_mutex;
    Recording* m_recording = nullptr; ///< guarded by the mutex; null unless it has begun and goes on
    // Written by the thread, and read after its end.
    std::optional<Failure> m_failure;
    RecordingState m_result;
};

} // namespace Zendra::Runner
