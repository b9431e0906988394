#pragma once

#include <QBasicTimer>
#include <QElapsedTimer>

#include <zendra/binarystream.h>
#include <zendra/video/screenrecordformat.h>

namespace Zendra::Video
{

/// Sets the pace of a recording: at most one update per tick, none while nothing changes, and none while too
/// many bytes are not acknowledged.
///
/// A subclass calls markDirty() when there is something new to see and overrides sendUpdate(). With a running
/// clock another update follows when nothing has changed for a moment. An exception
/// out of sendUpdate() or sendNoop() closes the stream with code Failed and the exception's text.
///
/// Options of configure(): "fps", 1 to 60 (default 25), and "window", the number of unacknowledged bytes at
/// which updates are held back (default 4 MiB).
class ZENDRA_EXPORT VideoStreamProducer : public BinaryStreamProducer
{
    Q_OBJECT

public:
    static constexpr int defaultFps = 25;
    static constexpr int maximumFps = 60;
    static constexpr unsigned int defaultWindow = 4U << 20;

    explicit VideoStreamProducer(ScreenRecordFormat format, QObject* parent = nullptr);
    ~VideoStreamProducer() override;

    QString configure(const QMap<QString, QVariant>& options) override;
    void pause() override;
    void resume() override;
    void stop() override;
    /// After the end of the stream segments are dropped: the receiver may have ended it in the middle of an
    /// update.
    void sendNextSegment(QByteArray segment) override;
    void bytesReceived(unsigned int count) override;

    /// Nothing changed for a second; only called for formats with a running clock. `milliseconds` is the time
    /// since the previous call of this or sendUpdate().
    virtual void sendNoop(unsigned int milliseconds);
    /// A frame is due. `milliseconds` is the time since the previous call of this or sendNoop(); where the
    /// format has no running clock and an update sent nothing, its time is in the next one's too.
    virtual void sendUpdate(unsigned int milliseconds) = 0;
    /// Whether the receiver has room for another update.
    virtual bool canSendUpdate() const;
    /// Ends the stream once: no update follows, and closed() is emitted with `code` and `text`.
    virtual void closeStream(BinaryStream::TerminationCode code, const QString& text);

    ScreenRecordFormat format() const { return m_format; }
    bool isClosed() const { return m_state == State::Closed; }

protected:
    /// Asks for an update at the next tick.
    void markDirty();
    void timerEvent(QTimerEvent* event) override;

private:
    enum class State { Running, Paused, Closed };

    bool hasRunningClock() const { return m_format == H264Format; }
    int frameInterval() const { return 1000 / m_fps; }
    void schedule();
    void tick();
    void update();
    unsigned int takeElapsed();

    ScreenRecordFormat m_format;
    State m_state = State::Running;
    bool m_dirty = false;
    bool m_mayHaveMissedChanges = false;
    bool m_isTicking = false;
    int m_fps = defaultFps;
    unsigned int m_window = defaultWindow;
    QBasicTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_lastCall = 0;  ///< when sendUpdate() or sendNoop() was called last, by the clock
    qint64 m_toldUntil = 0; ///< up to where the receiver was told of the time that passed
};

} // namespace Zendra::Video
