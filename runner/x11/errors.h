#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include <QByteArray>
#include <QString>

namespace Zendra::Runner
{

/// Handles Xlib's errors, which would end the process otherwise.
/// Errors arrive some time after the request, so call take() after a round trip. Xlib has one pair of error
/// handlers in a process, so there is one object. Threads may use it, each with its own connections.
class XErrors
{
public:
    /// `connectionLost` must end the process.
    explicit XErrors(std::function<void()> connectionLost);
    ~XErrors();

    /// Sets the handlers again after a library has set its own.
    void install();

    /// The errors of the calling thread since its last call, in one sentence; empty without one.
    QString take();

private:
    Q_DISABLE_COPY(XErrors)

    struct Report;

    std::vector<Report> takeReports();

    std::function<void()> m_connectionLost;
    std::mutex m_mutex;
    std::vector<Report> m_reports; ///< guarded by the mutex

    friend struct XErrorHandlers;
};

} // namespace Zendra::Runner
