#include "session.h"

#include <optional>

#include <unistd.h>

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>

#include <zendra/nativeinterface.h>
#include <zendra/pluginloader.h>

#include "command.h"
#include "output.h"
#include "x11/connection.h"
#include "x11/headlessserver.h"
#include "x11/pointerwatch.h"

namespace Zendra::Runner
{

Session::Session(const Options& options, Output& output)
    : m_options(options)
    , m_output(output)
    , m_displayName(options.display.value_or(QString()).toUtf8())
    , m_errors([this] { end(ExitStatus::ConnectionLost); })
{
}

Session::~Session()
{
    m_guiPlatform.reset();
    m_platform.reset();
    // The plug-in leaves the closing of its connection to the event loop, which does not run any more.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void Session::run(const Command& command)
{
    command.run(*this);
    const QString refusal = m_errors.take();
    if (!refusal.isEmpty()) {
        const bool mayBeLate = m_place.line > 1;
        throw operationFailure(
            mayBeLate ? refusal + QLatin1String(", in this line or the one before") : refusal);
    }
}

PlatformPlugin& Session::platform()
{
    if (!m_platform)
        connect();
    return *m_platform;
}

NativeInterface& Session::native()
{
    return *platform().nativeInterface();
}

WidgetHighlighter& Session::highlighter()
{
    return *platform().widgetHighlighter();
}

NativeInterface& Session::guiNative()
{
    synchronize();
    if (!m_guiPlatform)
        m_guiPlatform = load({nullptr, nullptr, true});
    // Qt learns from an event that the clipboard has changed.
    QCoreApplication::processEvents();
    return *m_guiPlatform->nativeInterface();
}

void Session::startApplication(ApplicationKind kind, int& argc, char** argv)
{
    if (kind == ApplicationKind::Gui) {
        openDisplay();
        const QString errorText = checkDisplay(m_displayName.constData());
        if (!errorText.isEmpty())
            throw Failure(ExitStatus::Unreachable, errorText);
    }
    m_application = makeApplication(kind, argc, argv, [this](ExitStatus status) { end(status); });
    // Qt has put its own handlers in their place.
    m_errors.install();
}

void Session::openDisplay()
{
    if (m_options.headless && !m_server) {
        m_server = std::make_unique<HeadlessServer>(*m_options.headless);
        m_displayName = m_server->displayName();
    }
    if (m_displayName.isEmpty())
        m_displayName = qgetenv("DISPLAY");
    if (m_displayName.isEmpty()) {
        throw Failure(ExitStatus::Unreachable,
            QStringLiteral(
                "There is no display: set DISPLAY, name one with --display, or start one with --headless"));
    }
    // Programs that the plug-in starts find the same display.
    qputenv("DISPLAY", m_displayName);
}

void Session::connect()
{
    openDisplay();
    m_platform = load({m_displayName.constData(), nullptr, false});
    m_platform->nativeInterface()->supressFlush(true);
}

std::unique_ptr<PlatformPlugin> Session::load(const PlatformPluginParameters& parameters)
{
    LoadedPlatform loaded = loadPlatform(QStringLiteral("xlib"), parameters);
    if (!loaded.plugin)
        throw Failure(ExitStatus::Unreachable, loaded.errorText);
    return std::move(loaded.plugin);
}

void Session::requireScreen(int screen)
{
    if (screen < 0)
        return;
    platform();
    const int count = screenCount(openConnection(m_displayName));
    if (screen >= count) {
        throw operationFailure(QStringLiteral("Display '%1' has no screen %2; its last one is %3")
                                   .arg(QString::fromUtf8(m_displayName))
                                   .arg(screen)
                                   .arg(count - 1));
    }
}

void Session::synchronize()
{
    if (!m_platform)
        return;
    // Requests are held back otherwise, so that as many as possible go out together.
    m_platform->nativeInterface()->supressFlush(false);
    m_platform->nativeInterface()->supressFlush(true);
    require(m_errors.take());
}

void Session::waitForRelease(MouseButton::Value button)
{
    synchronize();
    if (!m_pointerWatch)
        m_pointerWatch = std::make_unique<PointerWatch>(m_displayName);
    m_pointerWatch->waitForRelease(button);
}

void Session::releaseHeldDown()
{
    if (m_platform)
        m_heldDown.release(native());
}

void Session::wait(int milliseconds, int fileDescriptor)
{
    // The time begins when the server has carried everything out.
    synchronize();
    QEventLoop loop;
    std::optional<QSocketNotifier> readable;
    if (fileDescriptor >= 0) {
        readable.emplace(fileDescriptor, QSocketNotifier::Read);
        QObject::connect(&*readable, &QSocketNotifier::activated, &loop, &QEventLoop::quit);
    }
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    timer.start(milliseconds);
    run(loop);
}

void Session::run(QEventLoop& loop)
{
    synchronize();
    m_output.flush();
    QSocketNotifier interrupted(m_interruption.fileDescriptor(), QSocketNotifier::Read);
    QObject::connect(&interrupted, &QSocketNotifier::activated, &loop, &QEventLoop::quit);
    loop.exec();
}

void Session::requireNotInterrupted() const
{
    if (m_interruption.happened())
        throw operationFailure(QStringLiteral("Interrupted"));
}

void Session::setPlace(const ScriptPlace& place)
{
    const std::lock_guard<std::mutex> lock(m_placeMutex);
    m_place = place;
}

void Session::end(ExitStatus status)
{
    // Not given back: a second thread that notices the same must not tell it again.
    m_placeMutex.lock();
    const QString text = status == ExitStatus::ConnectionLost
        ? QStringLiteral("The connection to display '%1' was lost")
        : QStringLiteral("Qt cannot run on display '%1'; is its xcb platform plug-in installed?");
    Failure failure(status, text.arg(QString::fromUtf8(m_displayName)));
    failure.setPlace(m_place);
    // Destructors would talk to the server that is gone. What was started ends with this process.
    _exit(m_output.failure(failure));
}

} // namespace Zendra::Runner
