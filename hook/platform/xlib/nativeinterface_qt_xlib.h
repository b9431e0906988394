#pragma once

#include "nativeinterface_x11.h"

namespace Zendra
{

/// The native interface in a Qt application: uses the application's connection, event loop and clipboard. GUI
/// thread only.
class QtXlibNativeInterface : public X11NativeInterface
{
public:
    /// The application owns the connection.
    explicit QtXlibNativeInterface(Display* display);
    ~QtXlibNativeInterface() override;

    ClipboardText getClipboardText() override;
    QString setClipboardText(QString text) override;
    void processEvents(int milliseconds) override;
    Xlib::ScreenRecording* createScreenRecording(
        unsigned int formats, const QMap<QString, QVariant>& options) override;
};

} // namespace Zendra
