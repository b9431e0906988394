#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include <QByteArray>
#include <QString>

namespace Zendra::Runner
{

/// Takes Xlib's error reports, which would end the process otherwise.
///
/// It takes them from its construction on. The server reports an error some time after the request, so ask
/// with take() after a round trip. Xlib has one pair of error handlers in a process, hence there is one
/// object. It may be used from several threads, which each have their own connections.
class XErrors
{
public:
    /// `connectionLost` must end the process: Xlib cannot go on after it.
    explicit XErrors(std::function<void()> connectionLost);
    ~XErrors();

    /// Takes the reports again after a library has set handlers of its own.
    void install();

    /// What the server refused the calling thread since its last call, in one sentence; empty when all went
    /// well.
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
