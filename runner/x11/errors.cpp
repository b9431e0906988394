#include "errors.h"

#include <utility>

#include "../failure.h"
#include "connection.h"
#include "displayinfo.h"

#include <X11/Xlib.h>

namespace Zendra::Runner
{

struct XErrors::Report {
    QByteArray displayName;
    QByteArray text;
    int majorRequest;
    int minorRequest;
    unsigned long resource;
};

/// The functions that Xlib calls. It gives them no way to find their object, so that is kept here.
struct XErrorHandlers {
    static int report(Display* display, XErrorEvent* event)
    {
        char text[256];
        XGetErrorText(display, event->error_code, text, sizeof text);
        errors->m_reports.push_back(
            {DisplayString(display), text, event->request_code, event->minor_code, event->resourceid});
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

/// The request's name, as the database of Xlib has it.
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

QString XErrors::take()
{
    const std::vector<Report> reports = std::exchange(m_reports, {});
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
