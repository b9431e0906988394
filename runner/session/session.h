#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include <QByteArray>
#include <QSet>

#include "cli/application.h"
#include "cli/failure.h"
#include "cli/options.h"
#include "helddown.h"
#include "process/interruption.h"
#include "process/standarderror.h"
#include "process/startedprograms.h"
#include "remote/remoteplatform.h"
#include "x11/errors.h"
#include "x11/pressedinput.h"

class QEventLoop;

namespace Zendra
{
class NativeInterface;
class PlatformPlugin;
struct PlatformPluginParameters;
class Typist;
class WidgetHighlighter;
} // namespace Zendra

namespace Zendra::Runner
{

class Command;
class Elements;
class HeadlessServer;
class Output;
class PointerWatch;

/// The context that commands run in: the platform plug-in on its display, the output, and waiting.
///
/// The plug-in is loaded on first use.
class Session
{
public:
    Session(const Options& options, Output& output);
    ~Session();

    /// Runs a command. Throws a Failure.
    ///
    /// Does not synchronize with the server. X errors are reported at the end of a later command that makes a
    /// round trip, or by synchronize().
    void run(const Command& command);

    /// Makes the application object that run() needs: a GUI application on the session's display, which is
    /// opened for it, if `isGui` and no application has the clipboard; else one of this kind. `argc` and
    /// `argv` must live as long as the session.
    void startApplication(bool isGui, ApplicationKind kind, int& argc, char** argv);

    PlatformPlugin& platform();
    NativeInterface& native();
    WidgetHighlighter& highlighter();
    /// The native interface of the plug-in's Qt variant, which uses Qt's clipboard. Only for commands whose
    /// needsGuiApplication() is true. Synchronizes first.
    NativeInterface& guiNative();
    /// The native interface for recordings, on a connection of this process where it can open the display.
    NativeInterface& recordingNative();
    /// Whether the keyboard has a key of this name, or for this character. The keymap of a platform is fixed,
    /// so that each is looked up once; in an application that takes a call.
    bool hasKey(const QString& name);
    /// A command has given the clipboard a new owner: guiNative() waits until Qt has noticed.
    void noteClipboardChange() { ++m_clipboardChanges; }
    /// The elements of the programs on the display. Throws a Failure where there is no accessibility bus.
    Elements& elements();
    /// Types a text character by character until one fails. Throws when the process is asked to end.
    TypedText type(const QString& text);
    /// Types what the native interface cannot, on a connection of its own; null where this process cannot
    /// open the platform's display, or that lacks XKB or XTEST.
    Typist* typist();
    /// Follows changes of the keyboard layout from now on. Call it before the platform is used.
    void watchLayout() { m_isLayoutWatched = true; }
    /// Makes a new native interface if the layout or its group has changed since the present one was made,
    /// whose keymap is fixed.
    void followLayout();
    bool isRemote() const { return m_remote != nullptr; }
    /// The application that hosts the platform; null when this process does. Valid after platform().
    const ApplicationInfo* application() const;
    /// Whether a Qt application hosts the platform, which then can read the clipboard. Valid after
    /// platform().
    bool isGuiPlatform() const;
    /// Uses an application's hook from now on.
    void attach(std::unique_ptr<RemotePlatform> platform);
    /// Stops using the application's hook.
    void detach();
    Output& output() { return m_output; }
    /// The platform's display. Valid after platform().
    const QByteArray& displayName() const { return m_displayName; }

    bool isHeadless() const { return m_options.headless.has_value(); }
    /// Determines the display, starting a headless one if asked to, and sets DISPLAY for child processes.
    void openDisplay();
    /// Waits until the window manager of a headless display has handled what happened before.
    void awaitWindowManager() const;
    /// Readable when a signal asks the process to end.
    int interruptionFileDescriptor() const { return m_interruption.fileDescriptor(); }
    /// The exit status of the process on success.
    void setExitStatus(int status) { m_exitStatus = status; }
    int exitStatus() const { return m_exitStatus; }

    /// Whether this process can open the platform's display; that of an application may not be accessible.
    bool canOpenDisplay();
    /// Throws when the display has no such screen; -1 means the default one. Not checked where this
    /// process cannot open the display.
    void requireScreen(int screen);
    /// Throws when the place is not on its screen; otherwise takes the pointer to that screen, unless it is
    /// there, since synthetic motion stays on the pointer's screen. Not checked where this process cannot
    /// open the display.
    void enterScreen(const Point& place);
    /// Moves the pointer to a place of the default screen. Throws when that fails.
    void movePointer(const QPoint& place);
    /// Flushes, waits for the server, and throws for X errors.
    void synchronize();
    /// Synchronizes after the last command, which may have ended the application.
    void finish();
    /// Waits until the server has processed a release of `button`, which a window manager may delay.
    void waitForRelease(MouseButton::Value button);
    /// Runs the event loop until the timeout, a termination signal, or until `fileDescriptor` is readable.
    void wait(int milliseconds, int fileDescriptor = -1);
    /// Runs `loop` until it quits or a termination signal arrives.
    void run(QEventLoop& loop);
    bool isInterrupted() const { return m_interruption.happened(); }
    void requireNotInterrupted() const;
    HeldDown& heldDown() { return m_heldDown; }
    /// What the script has started.
    StartedPrograms& programs() { return m_programs; }
    /// Releases what commands have pressed so far.
    void releaseHeldDown();

    /// Begins a chapter of the recording, if there is one.
    void beginChapter(const QString& title)
    {
        if (m_chapterListener)
            m_chapterListener(title);
    }
    /// Sets what takes the titles of chapters; null for nothing.
    void setChapterListener(std::function<void(const QString&)> listener)
    {
        m_chapterListener = std::move(listener);
    }

    /// Sets the script line that errors are reported for.
    void setPlace(const ScriptPlace& place);

private:
    class Deadline;

    bool tryToSynchronize();
    /// Releases what an unresponsive application has left down.
    void releaseAfterLoss();
    bool hasApplicationEnded() const;
    Q_DISABLE_COPY(Session)

    void connect();
    /// Null where this process cannot open the display.
    PointerWatch* pointerWatch();
    /// Throws when the connection to the application is lost, which `mayEnd` calls an effect of the command.
    void requireApplication(const ScriptPlace& place = {}, bool mayEnd = false) const;
    std::unique_ptr<PlatformPlugin> load(const PlatformPluginParameters& parameters);
    /// Exits, from any thread, because the display cannot be used or the connection to it is lost.
    [[noreturn]] void end(ExitStatus status);

    int m_exitStatus = 0;
    std::function<void(const QString&)> m_chapterListener;
    const Options m_options;
    Output& m_output;
    std::mutex m_placeMutex; ///< any thread may detect a lost connection
    ScriptPlace m_place;
    QByteArray m_displayName;
    Interruption m_interruption;
    XErrors m_errors;
    std::unique_ptr<HeadlessServer> m_server;
    StartedPrograms m_programs;
    /// While Qt's application is constructed: Qt writes there which system call has failed.
    std::optional<StandardErrorCapture> m_startErrors;
    std::unique_ptr<QCoreApplication> m_application; // destroyed before the server it may be a client of
    HeldDown m_heldDown;
    std::optional<PressedInput> m_pressedBefore; ///< when the application was attached
    std::unique_ptr<PointerWatch> m_pointerWatch;
    std::unique_ptr<Elements> m_elements;
    std::unique_ptr<PlatformPlugin> m_platform;
    RemotePlatform* m_remote = nullptr; ///< m_platform, if an application hosts it
    std::unique_ptr<PlatformPlugin> m_guiPlatform;
    QSet<QString> m_presentKeys;
    std::unique_ptr<Typist> m_typist;
    bool m_hasTriedTypist = false;
    bool m_isLayoutWatched = false;
    int m_layoutVersion = 0;                             ///< of the platform's keymap
    int m_clipboardChanges = 0;                          ///< by commands of this process
    int m_noticedClipboardChanges = 0;                   ///< by Qt, whoever made them
    std::unique_ptr<PlatformPlugin> m_recordingPlatform; ///< where m_platform is in an application
};

} // namespace Zendra::Runner
