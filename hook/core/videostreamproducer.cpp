#include <zendra/video/videostreamproducer.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

#include <QScopedValueRollback>
#include <QTimerEvent>

namespace Zendra::Video
{

namespace
{

/// The heartbeat of formats with a running clock.
constexpr int noopInterval = 1000;

/// When formats that send whole pictures take another one after an update: a change during the capture may
/// have been missed.
constexpr int settleInterval = 250;

} // namespace

VideoStreamProducer::VideoStreamProducer(ScreenRecordFormat format, QObject* parent)
    : BinaryStreamProducer(parent)
    , m_format(format)
{
    m_clock.start();
}

VideoStreamProducer::~VideoStreamProducer() = default;

QString VideoStreamProducer::configure(const QMap<QString, QVariant>& options)
{
    int fps = m_fps;
    unsigned int window = m_window;
    for (auto option = options.begin(); option != options.end(); ++option) {
        bool isNumber = false;
        if (option.key() == QLatin1String("fps")) {
            fps = option->toInt(&isNumber);
            if (!isNumber || fps < 1 || fps > maximumFps) {
                return QStringLiteral("The option 'fps' takes a whole number from 1 to %1, not '%2'")
                    .arg(maximumFps)
                    .arg(option->toString());
            }
        } else if (option.key() == QLatin1String("window")) {
            const qlonglong bytes = option->toLongLong(&isNumber);
            window = static_cast<unsigned int>(bytes);
            if (!isNumber || bytes < 1 || bytes > std::numeric_limits<unsigned int>::max()) {
                return QStringLiteral("The option 'window' takes a number of bytes from 1 up, not '%1'")
                    .arg(option->toString());
            }
        } else {
            return QStringLiteral("A recording has no option '%1'; it has 'fps' and 'window'")
                .arg(option.key());
        }
    }
    m_fps = fps;
    m_window = window;
    schedule();
    return {};
}

void VideoStreamProducer::pause()
{
    if (m_state != State::Running)
        return;
    m_state = State::Paused;
    m_timer.stop();
}

void VideoStreamProducer::resume()
{
    if (m_state != State::Paused)
        return;
    m_state = State::Running;
    schedule();
}

void VideoStreamProducer::stop()
{
    closeStream(StoppedByReceiver, {});
}

void VideoStreamProducer::sendNextSegment(QByteArray segment)
{
    if (m_state != State::Closed)
        BinaryStreamProducer::sendNextSegment(std::move(segment));
}

void VideoStreamProducer::bytesReceived(unsigned int count)
{
    BinaryStreamProducer::bytesReceived(count);
    schedule();
}

void VideoStreamProducer::sendNoop(unsigned int) { }

bool VideoStreamProducer::canSendUpdate() const
{
    return bytesOnTheWay() < m_window;
}

void VideoStreamProducer::closeStream(BinaryStream::TerminationCode code, const QString& text)
{
    if (m_state == State::Closed)
        return;
    m_state = State::Closed;
    m_timer.stop();
    Q_EMIT closed(code, text);
}

void VideoStreamProducer::markDirty()
{
    m_dirty = true;
    schedule();
}

void VideoStreamProducer::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_timer.timerId()) {
        BinaryStreamProducer::timerEvent(event);
        return;
    }
    m_timer.stop();
    tick();
    schedule();
}

/// Arms the timer if there is something to do. While nothing changes, or the receiver is behind, there are no
/// wake-ups; markDirty() and bytesReceived() call this again.
void VideoStreamProducer::schedule()
{
    // Not re-entrant: the receiver may acknowledge, or run an event loop, during an update.
    if (m_state != State::Running || m_isTicking)
        return;
    int interval = 0;
    if (m_dirty && canSendUpdate())
        interval = frameInterval();
    else if (!m_dirty && hasRunningClock())
        interval = m_mayHaveMissedChanges && canSendUpdate() ? settleInterval : noopInterval;
    else {
        m_timer.stop();
        return;
    }
    const auto elapsed = static_cast<int>(std::min<qint64>(m_clock.elapsed() - m_lastCall, interval));
    m_timer.start(interval - elapsed, Qt::PreciseTimer, this);
}

void VideoStreamProducer::tick()
{
    const QScopedValueRollback<bool> ticking(m_isTicking, true);
    try {
        if (m_dirty) {
            if (canSendUpdate())
                update();
        } else if (canSendUpdate() && std::exchange(m_mayHaveMissedChanges, false)) {
            sendUpdate(takeElapsed());
        } else {
            sendNoop(takeElapsed());
        }
    } catch (const std::exception& error) {
        closeStream(Failed, QString::fromUtf8(error.what()));
    }
}

void VideoStreamProducer::update()
{
    m_dirty = false;
    m_mayHaveMissedChanges = hasRunningClock();
    const unsigned int sentBefore = bytesSent();
    const qint64 toldBefore = m_toldUntil;
    sendUpdate(takeElapsed());
    // The milliseconds of an update that sent nothing count for the next one.
    if (!hasRunningClock() && bytesSent() == sentBefore)
        m_toldUntil = toldBefore;
}

/// Not restarted with each call: the fractions of milliseconds would be lost.
unsigned int VideoStreamProducer::takeElapsed()
{
    m_lastCall = m_clock.elapsed();
    return static_cast<unsigned int>(m_lastCall - std::exchange(m_toldUntil, m_lastCall));
}

} // namespace Zendra::Video
