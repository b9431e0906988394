#include <exception>
#include <memory>
#include <stdexcept>

#include <QThread>

#include <zendra/video/screenrecordformat.h>

#include "h264screenrecording_xlib.h"
#include "nativeinterface_pure_xlib.h"
#include "nativeinterface_qt_xlib.h"
#include "rlescreenrecording_xlib.h"

#include <X11/Xlib.h>

namespace Zendra
{

namespace
{

/// The recorder for the first format allowed, on the display that `connect` gives it.
template <typename Connect>
Xlib::ScreenRecording* createRecorder(unsigned int formats, double scale, Connect connect)
{
    if ((formats & Video::RleFormat) != 0)
        return new Xlib::RleScreenRecording(connect(), scale);
    if ((formats & Video::H264Format) != 0)
        return new Xlib::H264StreamScreenRecording(connect(), scale);
    throw std::runtime_error("None of the allowed formats is supported");
}

} // namespace

void X11NativeInterface::recordScreen(
    unsigned int formats, const QMap<QString, QVariant>& options, ResponseListener<BinaryStream*>* listener)
{
    Result<BinaryStream*> result;
    try {
        result.value = createScreenRecording(formats, options);
    } catch (const std::exception& error) {
        result.errorText = QString::fromUtf8(error.what());
    }
    listener->response(result);
}

void PureXlibNativeInterface::recordScreen(
    unsigned int formats, const QMap<QString, QVariant>& options, ResponseListener<BinaryStream*>* listener)
{
    X11NativeInterface::recordScreen(formats, options, listener);
    twoWayFlush();
}

Xlib::ScreenRecording* PureXlibNativeInterface::createScreenRecording(
    unsigned int formats, const QMap<QString, QVariant>& /*options*/)
{
    return createRecorder(formats, scaleFactor(), [this] { return wrapper(); });
}

Xlib::XDisplay* PureXlibNativeInterface::wrapper()
{
    if (!m_wrapper) {
        m_wrapper = new Xlib::XDisplay(display());
        // This reference is never released: the connection is this interface's, and the last recording must
        // not close it. Like every connection of a copy it stays open until the process ends.
        m_wrapper->ref();
    }
    if (m_wrapper->thread() != QThread::currentThread())
        throw std::runtime_error(
            "This interface records in another thread; make a thread-safe copy for this one");
    return m_wrapper;
}

Xlib::ScreenRecording* QtXlibNativeInterface::createScreenRecording(
    unsigned int formats, const QMap<QString, QVariant>& /*options*/)
{
    return createRecorder(formats, scaleFactor(), [this] {
        Display* connection = XOpenDisplay(DisplayString(display()));
        if (connection == nullptr)
            throw std::runtime_error("Failed opening a secondary X connection");
        return connection;
    });
}

} // namespace Zendra
