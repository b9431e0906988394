#include "recordingthread.h"

#include <utility>

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>

#include <zendra/pluginloader.h>

#include "session/session.h"
#include "x11/threads.h"

namespace Zendra::Runner
{

RecordingThread::RecordingThread(QByteArray displayName, RecordingSettings settings)
    : m_displayName(std::move(displayName))
    , m_settings(std::move(settings))
    , m_extensionUser(openExtensionUser(m_displayName))
{
}

RecordingThread::~RecordingThread()
{
    if (m_session != nullptr)
        m_session->setChapterListener({});
    quit();
    wait();
}

void RecordingThread::begin(Session& session)
{
    QEventLoop loop;
    connect(this, &RecordingThread::begun, &loop, &QEventLoop::quit);
    connect(this, &RecordingThread::finished, &loop, &QEventLoop::quit);
    start();
    if (!isRunning() && !isFinished())
        throw operationFailure(
            QStringLiteral("Cannot start a thread for the recording; is there a limit on processes?"));
    session.run(loop);
    if (isFinished())
        end();
    session.requireNotInterrupted();
    m_session = &session;
    session.setChapterListener([this](const QString& title) { addChapter(title); });
}

void RecordingThread::addChapter(const QString& title)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_recording != nullptr)
        m_recording->addChapter(title);
}

RecordingState RecordingThread::end()
{
    quit();
    wait();
    if (m_failure)
        throw Failure(*m_failure);
    return m_result;
}

void RecordingThread::run()
{
    try {
        record();
    } catch (const Failure& failure) {
        m_failure = failure;
    }
    // The plug-in closes its connection by deferred deletion, and the event loop no longer runs.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void RecordingThread::record()
{
    const LoadedPlatform loaded
        = loadPlatform(QStringLiteral("xlib"), {m_displayName.constData(), nullptr, false});
    if (!loaded.plugin)
        throw Failure(ExitStatus::Unreachable, loaded.errorText);
    std::optional<Recording> recording;
    const auto reportBegin = [this, &recording] {
        setRecording(&*recording);
        Q_EMIT begun();
    };
    recording.emplace(*loaded.plugin->nativeInterface(), m_displayName, m_settings,
        Recording::Events {reportBegin, [this] { quit(); }});
    exec();
    setRecording(nullptr);
    m_result = recording->finish();
}

void RecordingThread::setRecording(Recording* recording)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_recording = recording;
}

} // namespace Zendra::Runner
