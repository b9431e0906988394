#pragma once

#include <deque>
#include <functional>
#include <memory>

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

private:
    Q_DISABLE_COPY(Job)
};

/// Does one job at a time, in order: at once where nothing else is to do, else from the event loop. No job
/// runs an event loop itself.
class Queue : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    void add(std::unique_ptr<Job> job);
    void add(std::function<void()> function);
    /// Forgets what has not begun.
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
