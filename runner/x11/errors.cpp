#include "errors.h"

#include <algorithm>
#include <iterator>
#include <thread>

#include "cli/failure.h"
#include "connection.h"
#include "displayinfo.h"

#include <X11/Xlib.h>

namespace Zendra::Runner
{

struct XErrors::Report {
    std::thread::id thread; ///< that uses the connection
    QByteArray displayName;
    QByteArray text;
    int majorRequest;
    int minorRequest;
    unsigned long resource;
    bool isBadMatch;
};

/// The handlers for Xlib, which has no context argument for them.
struct XErrorHandlers {
    static int report(Display* display, XErrorEvent* event)
    {
        char text[256];
        XGetErrorText(display, event->error_code, text, sizeof text);
        const std::lock_guard<std::mutex> lock(errors->m_mutex);
        errors->m_reports.push_back({std::this_thread::get_id(), DisplayString(display), text,
            event->request_code, event->minor_code, event->resourceid, event->error_code == BadMatch});
        return 0;
    }

    static int connectionLost(Display*)
    {
        errors->m_connectionLost();
        return 0;
    }

    static XErrors* errors;
};

XErrors* XErrorHandlers::errors = nullptr;

namespace
{

/// The name of the request in Xlib's error database.
QString requestName(const QByteArray& displayName, int majorRequest, int minorRequest)
{
    const ConnectionPointer connection = openConnection(displayName);
    QByteArray key = QByteArray::number(majorRequest);
    constexpr int firstExtensionRequest = 128;
    if (majorRequest >= firstExtensionRequest)
        key = extensionName(connection, majorRequest) + '.' + QByteArray::number(minorRequest);
    char name[256];
    const QByteArray fallback
        = "request " + QByteArray::number(majorRequest) + '.' + QByteArray::number(minorRequest);
    XGetErrorDatabaseText(
        connection.get(), "XRequest", key.constData(), fallback.constData(), name, sizeof name);
    return QString::fromLocal8Bit(name);
}

/// After a BadMatch because the screen has just shrunk, a recording grabs again, and reports a failure of
/// that itself.
bool isRefusedGrab(const QByteArray& displayName, int majorRequest, int minorRequest)
{
    constexpr int shmGetImage = 4;
    return minorRequest == shmGetImage
        && extensionName(openConnection(displayName), majorRequest) == "MIT-SHM";
}

} // namespace

XErrors::XErrors(std::function<void()> connectionLost)
    : m_connectionLost(std::move(connectionLost))
{
    XErrorHandlers::errors = this;
    install();
}

XErrors::~XErrors()
{
    XSetErrorHandler(nullptr);
    XSetIOErrorHandler(nullptr);
    XErrorHandlers::errors = nullptr;
}

void XErrors::install()
{
    XSetErrorHandler(&XErrorHandlers::report);
    XSetIOErrorHandler(&XErrorHandlers::connectionLost);
}

std::vector<XErrors::Report> XErrors::takeReports()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto others = std::stable_partition(m_reports.begin(), m_reports.end(),
        [](const Report& report) { return report.thread == std::this_thread::get_id(); });
    std::vector<Report> taken(std::make_move_iterator(m_reports.begin()), std::make_move_iterator(others));
    m_reports.erase(m_reports.begin(), others);
    return taken;
}

QString XErrors::take()
{
    std::vector<Report> reports = takeReports();
    reports.erase(std::remove_if(reports.begin(), reports.end(),
                      [](const Report& report) {
                          return report.isBadMatch
                              && isRefusedGrab(report.displayName, report.majorRequest, report.minorRequest);
                      }),
        reports.end());
    if (reports.empty())
        return {};
    const Report& first = reports.front();
    QString text = QStringLiteral("The X server answered %1 to %2 (value %3)")
                       .arg(QString::fromLocal8Bit(first.text),
                           requestName(first.displayName, first.majorRequest, first.minorRequest))
                       .arg(first.resource);
    if (reports.size() > 1)
        text += QStringLiteral(", and %1 more").arg(reports.size() - 1);
    return text;
}

} // namespace Zendra::Runner
