#include "queue.h"

#include <utility>

#include <QAbstractEventDispatcher>
#include <QThread>

namespace Zendra::Agent
{

namespace
{

class FunctionJob final : public Job
{
public:
    explicit FunctionJob(std::function<void()> function)
        : m_function(std::move(function))
    {
    }
    bool run() override
    {
        m_function();
        return true;
    }

private:
    std::function<void()> m_function;
};

} // namespace

Job::~Job() = default;

Queue::~Queue()
{
    disconnect(m_watch);
}

void Queue::add(std::unique_ptr<Job> job)
{
    m_jobs.push_back(std::move(job));
    // Who waits for an answer waits no longer than it takes.
    if (m_jobs.size() == 1 && m_running.empty())
        runNext();
    else
        schedule();
}

void Queue::add(std::function<void()> function)
{
    add(std::make_unique<FunctionJob>(std::move(function)));
}

void Queue::schedule()
{
    if (m_jobs.empty() || std::exchange(m_isScheduled, true))
        return;
    QMetaObject::invokeMethod(this, "runNext", Qt::QueuedConnection);
}

void Queue::runNext()
{
    m_isScheduled = false;
    if (m_jobs.empty() || isBusy() || isWaiting())
        return;
    std::unique_ptr<Job> job = std::move(m_jobs.front());
    m_jobs.pop_front();

    if (m_running.empty()) {
        m_watch = connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this,
            &Queue::lookForHeldUp);
    }
    m_running.push_back({job.get(), QThread::currentThread()->loopLevel(), false});
    const bool isDone = job->run();
    m_running.pop_back();
    if (m_running.empty())
        disconnect(m_watch);

    if (!isDone) {
        if (const QThread* thread = job->waitsFor())
            connect(thread, &QThread::finished, this, &Queue::schedule, Qt::QueuedConnection);
        m_jobs.push_front(std::move(job));
    }
    schedule();
}

bool Queue::isBusy() const
{
    return !m_running.empty() && QThread::currentThread()->loopLevel() <= m_running.back().loopLevel;
}

bool Queue::isWaiting() const
{
    const QThread* thread = m_jobs.front()->waitsFor();
    return thread != nullptr && !thread->isFinished();
}

/// Event loops that the application starts count as levels; the plain processing of events by which a job
/// waits does not.
void Queue::lookForHeldUp()
{
    if (m_running.empty() || isBusy())
        return;
    if (!std::exchange(m_running.back().isHeldUp, true))
        m_running.back().job->heldUp();
    schedule();
}

} // namespace Zendra::Agent
