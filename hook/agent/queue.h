#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include <QMetaObject>
#include <QObject>

class QThread;

namespace Zendra::Agent
{

/// Something to do when its turn has come.
class Job
{
public:
    Job() = default;
    virtual ~Job();
    /// Does it, or a part of it; false when there is more to do.
    virtual bool run() = 0;
    /// What has to finish before there is more to do; null if nothing.
    virtual const QThread* waitsFor() const { return nullptr; }
    /// The application went into an event loop of its own while the job waited, for a dialog or a drag. The
    /// job goes on when that has ended, which may depend on the jobs that follow.
    virtual void heldUp() { }

private:
    Q_DISABLE_COPY(Job)
};

/// Does one job at a time, in order: at once where nothing else is to do, else from the event loop.
///
/// A job may run the event loop itself while it waits, and what it sends to the application may make that
/// start a loop of its own. In the first case the next job waits, in the second it runs on top.
class Queue : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    ~Queue() override;

    void add(std::unique_ptr<Job> job);
    void add(std::function<void()> function);

private:
    Q_DISABLE_COPY(Queue)

    struct Running {
        Job* job;
        int loopLevel;
        bool isHeldUp;
    };

    void schedule();
    Q_INVOKABLE void runNext();
    bool isBusy() const;
    bool isWaiting() const;
    void lookForHeldUp();

    std::deque<std::unique_ptr<Job>> m_jobs;
    std::vector<Running> m_running; ///< the innermost last
    QMetaObject::Connection m_watch;
    bool m_isScheduled = false;
};

} // namespace Zendra::Agent
