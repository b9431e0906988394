#include "nativeinterface_qt_xlib.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QEventLoop>
#include <QGuiApplication>
#include <QTimer>

namespace Zendra
{

QtXlibNativeInterface::QtXlibNativeInterface(Display* display)
    : X11NativeInterface(display)
{
}

QtXlibNativeInterface::~QtXlibNativeInterface() = default;

ClipboardText QtXlibNativeInterface::getClipboardText()
{
    return {QGuiApplication::clipboard()->text(QClipboard::Clipboard), {}};
}

QString QtXlibNativeInterface::setClipboardText(QString text)
{
    QGuiApplication::clipboard()->setText(text, QClipboard::Clipboard);
    return {};
}

void QtXlibNativeInterface::processEvents(int milliseconds)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.start(milliseconds);
    // The timer's expiry wakes up the last iteration.
    while (timer.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

} // namespace Zendra
