#pragma once

#include <memory>
#include <mutex>

#include <QByteArray>

#include "cli/application.h"
#include "cli/failure.h"
#include "cli/options.h"
#include "helddown.h"
#include "process/interruption.h"
#include "remote/remoteplatform.h"
#include "x11/errors.h"

class QEventLoop;

namespace Zendra
{
class NativeInterface;
class PlatformPlugin;
struct PlatformPluginParameters;
class WidgetHighlighter;
} // namespace Zendra

namespace Zendra::Runner
{

class Command;
class HeadlessServer;
class Output;
class PointerWatch;

/// What commands act on: the platform plug-in on its display, the output, and time.
///
/// The plug-in is loaded when the first command asks for it.
class Session
{
public:
    Session(const Options& options, Output& output);
    ~Session();

    /// Runs a command. Throws a Failure.
    ///
    /// The server is not waited for, so that the lines of a script follow each other as fast as they can.
    /// What it refuses is noticed by the end of the next command that asks it something, or by synchronize().
    void run(const Command& command);

    /// Makes the application object that run() needs; a GUI application on the session's display, which is
    /// opened for it. `argc` and `argv` must live as long as the session.
    void startApplication(ApplicationKind kind, int& argc, char** argv);

    PlatformPlugin& platform();
    NativeInterface& native();
    WidgetHighlighter& highlighter();
    /// The native interface of the plug-in's variant for Qt applications, which uses Qt's clipboard. For
    /// commands that said that they need a GUI application. What was asked for before has been carried out.
    NativeInterface& guiNative();
    /// The native interface for recordings, on a connection of this process where it can open the display.
    NativeInterface& recordingNative();
    /// Types a text character by character until one fails. Throws when the process is asked to end.
    TypedText type(const QString& text);
    /// The application that the platform is in; null when it is in this process. Known once platform() was
    /// called.
    const ApplicationInfo* application() const;
    /// Whether the platform is in a Qt application, and so has the clipboard's text. Known likewise.
    bool isGuiPlatform() const;
    /// Acts in an application from now on.
    void attach(std::unique_ptr<RemotePlatform> platform);
    /// Leaves the application alone again.
    void detach();
    Output& output() { return m_output; }
    /// The display that the platform is on; known once platform() was called.
    const QByteArray& displayName() const { return m_displayName; }

    bool isHeadless() const { return m_options.headless.has_value(); }
    /// Opens the display, so that programs which are started find it.
    void openDisplay();
    /// Readable when a signal asks the process to end.
    int interruptionFileDescriptor() const { return m_interruption.fileDescriptor(); }
    /// What the process ends with when all went well.
    void setExitStatus(int status) { m_exitStatus = status; }
    int exitStatus() const { return m_exitStatus; }

    /// Whether this process can open the platform's display; that of an application may be out of its reach.
    bool canOpenDisplay();
    /// Throws when the display has no such screen; -1 stands for the default one. Not checked where this
    /// process cannot open the display.
    void requireScreen(int screen);
    /// Throws when the place is not on its screen; otherwise takes the pointer to that screen, unless it is
    /// there, since synthetic motion stays on the pointer's screen. Not checked where this process cannot
    /// open the display.
    void enterScreen(const Point& place);
    /// Pushes out what the current command asked for, waits for the server, and throws when that refused any
    /// of it.
    void synchronize();
    /// The same after the last command, which may have ended the application.
    void finish();
    /// Waits until the server, and the window manager, have let a release of `button` pass.
    void waitForRelease(MouseButton::Value button);
    /// Runs the event loop until the time is over, a signal asks the process to end, or a file descriptor is
    /// readable where one is given.
    void wait(int milliseconds, int fileDescriptor = -1);
    /// Runs this event loop until it is left or a signal asks the process to end.
    void run(QEventLoop& loop);
    bool isInterrupted() const { return m_interruption.happened(); }
    void requireNotInterrupted() const;
    HeldDown& heldDown() { return m_heldDown; }
    /// Releases what commands have pressed so far.
    void releaseHeldDown();

    /// Remembers the line that runs, for a connection that is lost meanwhile.
    void setPlace(const ScriptPlace& place);

private:
    bool tryToSynchronize();
    bool hasApplicationEnded() const;
    Q_DISABLE_COPY(Session)

    void connect();
    /// Null where this process cannot open the display.
    PointerWatch* pointerWatch();
    /// Throws when the application has been lost.
    void requireApplication(const ScriptPlace& place = {}) const;
    std::unique_ptr<PlatformPlugin> load(const PlatformPluginParameters& parameters);
    /// Ends the process, from any thread, because the display cannot be used, or not any more.
    [[noreturn]] void end(ExitStatus status);

    int m_exitStatus = 0;
    const Options m_options;
    Output& m_output;
    std::mutex m_placeMutex; ///< any thread may notice that its connection is lost
    ScriptPlace m_place;
    QByteArray m_displayName;
    Interruption m_interruption;
    XErrors m_errors;
    std::unique_ptr<HeadlessServer> m_server;
    std::unique_ptr<QCoreApplication> m_application; // ends before the server that it may be a client of
    HeldDown m_heldDown;
    std::unique_ptr<PointerWatch> m_pointerWatch;
    std::unique_ptr<PlatformPlugin> m_platform;
    RemotePlatform* m_remote = nullptr; ///< the platform where that is in an application
    std::unique_ptr<PlatformPlugin> m_guiPlatform;
    std::unique_ptr<PlatformPlugin> m_recordingPlatform; ///< where m_platform is in an application
};

} // namespace Zendra::Runner
