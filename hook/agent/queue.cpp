#include "queue.h"

#include <utility>

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

void Queue::add(std::unique_ptr<Job> job)
{
    m_jobs.push_back(std::move(job));
    if (m_jobs.size() == 1 && !m_isScheduled)
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
    if (m_jobs.empty() || isWaiting())
        return;
    std::unique_ptr<Job> job = std::move(m_jobs.front());
    m_jobs.pop_front();

    if (!job->run()) {
        if (const QThread* thread = job->waitsFor())
            connect(thread, &QThread::finished, this, &Queue::schedule, Qt::QueuedConnection);
        m_jobs.push_front(std::move(job));
    }
    schedule();
}

bool Queue::isWaiting() const
{
    const QThread* thread = m_jobs.front()->waitsFor();
    return thread != nullptr && !thread->isFinished();
}

} // namespace Zendra::Agent
