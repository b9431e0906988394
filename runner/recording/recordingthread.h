#pragma once

#include <optional>

#include <QByteArray>
#include <QThread>

#include "recording.h"

namespace Zendra::Runner
{

class Session;

/// A recording that goes on while this thread is busy: with a thread, a plug-in and a connection of its own.
///
/// Xlib must have been made ready for threads; see allowThreads().
class RecordingThread : public QThread
{
    Q_OBJECT

public:
    RecordingThread(QByteArray displayName, RecordingSettings settings);
    /// Ends the recording well.
    ~RecordingThread() override;

    /// Starts the recording and waits for its first picture. Throws a Failure, also when the session is asked
    /// to end meanwhile.
    void begin(Session& session);
    /// Ends the recording and completes its file. Throws a Failure for whatever went wrong since it began.
    RecordingState end();

Q_SIGNALS:
    /// The first picture is there. When the recording fails before, finished() comes instead.
    void begun();

protected:
    void run() override;

private:
    void record();

    const QByteArray m_displayName;
    const RecordingSettings m_settings;
    // Written by the thread, read when it has ended.
    std::optional<Failure> m_failure;
    RecordingState m_result;
};

} // namespace Zendra::Runner
