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

/// How long a format with a running clock may go without a sign of life.
constexpr int noopInterval = 1000;

/// How long after an update a format that sends whole pictures looks once more. What changed while the
/// picture was taken may have been missed; where changes go on, the next one brings it.
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

/// Arms the timer for the next thing to do, if there is one. While nothing changes, or the receiver is
/// behind, nothing wakes the process up; markDirty() and bytesReceived() come back here.
void VideoStreamProducer::schedule()
{
    // During an update the receiver may acknowledge, or run an event loop, from where none must begin.
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
    // An update that found nothing to send told nobody its milliseconds: the next one has them too.
    if (!hasRunningClock() && bytesSent() == sentBefore)
        m_toldUntil = toldBefore;
}

/// One clock for all calls: were it restarted with each, the fractions of a millisecond lost would add up.
unsigned int VideoStreamProducer::takeElapsed()
{
    m_lastCall = m_clock.elapsed();
    return static_cast<unsigned int>(m_lastCall - std::exchange(m_toldUntil, m_lastCall));
}

} // namespace Zendra::Video
