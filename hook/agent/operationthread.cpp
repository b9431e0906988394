#include "operationthread.h"

#include <utility>

#include "threadsetup.h"

namespace Zendra::Agent
{

namespace
{

/// How long to wait for the operation when its client or the application is gone, in milliseconds.
constexpr unsigned long endTimeout = 3000;

} // namespace

OperationThread::OperationThread(std::shared_ptr<NativeInterface> native, Work work)
    : m_native(std::move(native))
    , m_work(std::move(work))
{
}

std::shared_ptr<OperationThread> OperationThread::start(std::shared_ptr<NativeInterface> native, Work work)
{
    // A thread whose display was lost never ends.
    std::shared_ptr<OperationThread> thread(
        new OperationThread(std::move(native), std::move(work)), [](OperationThread* done) {
            if (done->wait(endTimeout))
                delete done;
        });
    startWithSignalsBlocked(*thread);
    return thread;
}

void OperationThread::run()
{
    claimXErrors();
    m_errorText = m_work(*m_native);
    // Waits for the server: the next operation uses another connection, and must not overtake this one.
    m_native->pointerPosition();
}

} // namespace Zendra::Agent
