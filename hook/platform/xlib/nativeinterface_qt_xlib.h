#pragma once

#include "nativeinterface_x11.h"

namespace Zendra
{

/// The native interface inside a Qt application: it shares the application's connection, waits in the
/// application's event loop and uses its clipboard. For the GUI thread only.
class QtXlibNativeInterface : public X11NativeInterface
{
public:
    /// The connection stays the application's.
    explicit QtXlibNativeInterface(Display* display);
    ~QtXlibNativeInterface() override;

    ClipboardText getClipboardText() override;
    QString setClipboardText(QString text) override;
    void processEvents(int milliseconds) override;
    Xlib::ScreenRecording* createScreenRecording(
        unsigned int formats, const QMap<QString, QVariant>& options) override;
};

} // namespace Zendra
