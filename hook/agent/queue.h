#pragma once

#include <deque>
#include <functional>
#include <memory>

#include <QObject>

class QThread;

namespace Zendra::Agent
{

/// An entry of the queue.
class Job
{
public:
    Job() = default;
    virtual ~Job();
    /// Runs the next step; false when there are more.
    virtual bool run() = 0;
    /// The thread that the next step waits for, or null.
    virtual const QThread* waitsFor() const { return nullptr; }

private:
    Q_DISABLE_COPY(Job)
};

/// Runs one job at a time, in order: at once if the queue is empty, else from the event loop. Jobs must not
/// run event loops.
class Queue : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    void add(std::unique_ptr<Job> job);
    void add(std::function<void()> function);
    /// Drops the jobs that have not been started.
    void clear() { m_jobs.clear(); }

private:
    Q_DISABLE_COPY(Queue)

    void schedule();
    Q_INVOKABLE void runNext();
    bool isWaiting() const;

    std::deque<std::unique_ptr<Job>> m_jobs;
    bool m_isScheduled = false;
};

} // namespace Zendra::Agent
