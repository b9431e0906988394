#include "session.h"

#include <optional>

#include <unistd.h>

#include <QClipboard>
#include <QElapsedTimer>
#include <QEvent>
#include <QEventLoop>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <protocol/logging.h>
#include <zendra/keynames.h>
#include <zendra/nativeinterface.h>
#include <zendra/pluginloader.h>
#include <zendra/typist.h>

#include "cli/command.h"
#include "cli/output.h"
#include "elements/elements.h"
#include "process/authorityfile.h"
#include "process/headlessserver.h"
#include "process/lastresort.h"
#include "remote/applications.h"
#include "x11/connection.h"
#include "x11/pointerwatch.h"

namespace Zendra::Runner
{

namespace
{

constexpr int clipboardTimeout = 1000; ///< milliseconds for Qt to notice a change

} // namespace

/// Ends the process when a command takes longer than its timeout, because it is blocked.
class Session::Deadline
{
public:
    static constexpr int grace = 2000; ///< milliseconds

    /// `milliseconds` is negative for a command without a timeout.
    Deadline(Session& session, int milliseconds)
        : m_session(session)
        , m_isSet(milliseconds >= 0)
    {
        if (!m_isSet)
            return;
        Failure failure = operationFailure(QStringLiteral("The display does not answer"));
        failure.setPlace(session.m_place);
        session.m_interruption.setDeadline(milliseconds + grace, session.m_output.failureLine(failure));
    }
    ~Deadline()
    {
        if (m_isSet)
            m_session.m_interruption.setDeadline(0);
    }

private:
    Q_DISABLE_COPY(Deadline)

    Session& m_session;
    const bool m_isSet;
};

Session::Session(const Options& options, Output& output)
    : m_options(options)
    , m_output(output)
    , m_displayName(options.display.value_or(QString()).toUtf8())
    , m_interruption(output.failureLine(operationFailure(
                         QStringLiteral("Interrupted; the display or the application does not answer"))),
          output.failureFileDescriptor())
    , m_errors([this] { end(ExitStatus::ConnectionLost); })
{
}

Session::~Session()
{
    m_guiPlatform.reset();
    m_recordingPlatform.reset();
    m_platform.reset();
    // The plug-in closes its connection by deferred deletion, and the event loop no longer runs.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void Session::run(const Command& command)
{
    QElapsedTimer timer;
    timer.start();
    const auto log = [&](const char* outcome) {
        qCDebug(sessionLog, "%s %s after %lld ms",
            m_place.line > 0
                ? qPrintable(QStringLiteral("Line %1, %2,").arg(m_place.line).arg(m_place.command))
                : "The command",
            outcome, timer.elapsed());
    };
    const Deadline deadline(*this, command.longestTime());
    const bool isConnected = m_remote == nullptr || m_remote->isConnected();
    const ApplicationEnd meaning = command.applicationEnd();
    const bool mayEnd
        = meaning == ApplicationEnd::Expected || (meaning == ApplicationEnd::Effect && isConnected);
    try {
        requireApplication();
        command.run(*this);
        if (command.longestTime() >= 0)
            tryToSynchronize();
        log("done");
    } catch (Failure& failure) {
        log("failed");
        releaseAfterLoss();
        if (failure.status() != ExitStatus::ConnectionLost)
            requireApplication(failure.place(), mayEnd);
        if (mayEnd)
            failure.setApplicationEnd();
        throw;
    }
    // The last command may have ended the application on purpose.
    if (!hasApplicationEnded())
        requireApplication();
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
    if (isGuiPlatform())
        return native();
    if (!m_guiPlatform)
        m_guiPlatform = load({nullptr, nullptr, true});
    // Qt caches the selection until it handles the event about a new owner, which a thread of Qt's reads.
    QTimer timeout;
    timeout.setSingleShot(true);
    timeout.start(clipboardTimeout);
    QCoreApplication::processEvents();
    while (m_noticedClipboardChanges < m_clipboardChanges && timeout.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return *m_guiPlatform->nativeInterface();
}

Elements& Session::elements()
{
    platform();
    if (!m_elements)
        m_elements = openElements(*this);
    return *m_elements;
}

TypedText Session::type(const QString& text)
{
    platform();
    // Large enough to amortise the round trip, small enough to react to Ctrl+C.
    constexpr int piece = 2000;
    int typed = 0;
    while (typed < text.size()) {
        requireNotInterrupted();
        if (m_remote == nullptr) {
            const QString errorText = native().typeCharacter(text.at(typed), NoModifier);
            if (!errorText.isEmpty())
                return {typed, errorText};
            ++typed;
            continue;
        }
        // Do not split a surrogate pair.
        const bool splits = typed + piece < text.size() && text.at(typed + piece).isLowSurrogate();
        const TypedText part = m_remote->typeText(text.mid(typed, splits ? piece - 1 : piece));
        typed += part.typed;
        if (!part.errorText.isEmpty())
            return {typed, part.errorText};
    }
    return {typed, {}};
}

bool Session::hasKey(const QString& name)
{
    if (m_presentKeys.contains(name))
        return true;
    if (!native().isValidSpecialKey(ourKeyToXKBString(name)))
        return false;
    m_presentKeys.insert(name);
    return true;
}

Typist* Session::typist()
{
    if (!m_hasTriedTypist && !m_options.platform) {
        m_hasTriedTypist = true;
        // What a typist types does not need the plug-in.
        if (m_options.app)
            platform();
        else if (m_remote == nullptr)
            openDisplay();
        const StandardErrorCapture capture;
        m_typist = Typist::connect(m_displayName);
    }
    return m_typist.get();
}

void Session::followLayout()
{
    if (!m_isLayoutWatched || typist() == nullptr || m_remote != nullptr)
        return;
    synchronize();
    const int version = m_typist->layoutVersion();
    if (version == m_layoutVersion)
        return;
    m_layoutVersion = version;
    m_presentKeys.clear();
    m_platform.reset();
}

const ApplicationInfo* Session::application() const
{
    return m_remote != nullptr ? &m_remote->application() : nullptr;
}

void Session::attach(std::unique_ptr<RemotePlatform> platform)
{
    m_displayName = platform->application().display.toUtf8();
    useAuthorityOf(platform->application().processId);
    qCDebug(sessionLog) << "Attached to application" << platform->application().processId << "on display"
                        << m_displayName;
    m_presentKeys.clear();
    m_remote = platform.get();
    m_platform = std::move(platform);
    try {
        m_pressedBefore = readPressedInput(m_displayName);
    } catch (const Failure&) {
        // This process cannot open the application's display.
    }
}

void Session::releaseAfterLoss()
{
    const bool isLost = m_remote != nullptr && (!m_remote->disconnectReason().isEmpty() || isInterrupted());
    if (!isLost || !m_pressedBefore)
        return;
    // The display may be what the application waits for.
    Failure failure(ExitStatus::ConnectionLost, m_remote->disconnectReason());
    failure.setPlace(m_place);
    m_interruption.setDeadline(Deadline::grace, m_output.failureLine(failure), failure.status());
    try {
        releasePressedInput(m_displayName, *m_pressedBefore);
    } catch (const Failure&) {
        // The display went away as well.
    }
    m_interruption.setDeadline(0);
}

void Session::detach()
{
    m_remote = nullptr;
    m_platform.reset();
}

void Session::startApplication(bool isGui, ApplicationKind kind, int& argc, char** argv)
{
    isGui = isGui && !m_options.platform;
    if (isGui && m_options.app) {
        connect();
        // A Qt application reads its own clipboard.
        isGui = !isGuiPlatform();
    }
    if (isGui)
        kind = ApplicationKind::Gui;
    std::optional<DisplayCheck> check;
    if (kind == ApplicationKind::Gui) {
        openDisplay();
        const StandardErrorCapture capture;
        check.emplace(m_displayName.constData());
        if (!check->errorText().isEmpty())
            throw Failure(ExitStatus::Unreachable, capture.explain(check->errorText()));
    }
    if (kind == ApplicationKind::Gui)
        m_startErrors.emplace();
    m_application = makeApplication(kind, argc, argv, [this](ExitStatus status) { end(status); });
    m_startErrors.reset();
    if (kind == ApplicationKind::Gui) {
        QObject::connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, m_application.get(),
            [this] { ++m_noticedClipboardChanges; });
    }
    // Qt has replaced the X error handlers.
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
        if (m_options.platform)
            return;
        throw Failure(ExitStatus::Unreachable,
            QStringLiteral(
                "There is no display: set DISPLAY, name one with --display, or start one with --headless"));
    }
    // For child processes, such as the plug-in's xsel.
    qputenv("DISPLAY", m_displayName);
}

void Session::awaitWindowManager() const
{
    if (m_server)
        m_server->awaitWindowManager();
}

void Session::connect()
{
    if (m_options.app) {
        attach(connectToApplication(*m_options.app, m_interruption.fileDescriptor()));
        return;
    }
    openDisplay();
    if (m_isLayoutWatched && !m_hasTriedTypist && !m_options.platform) {
        m_hasTriedTypist = true;
        const StandardErrorCapture capture;
        m_typist = Typist::connect(m_displayName);
        if (m_typist)
            m_layoutVersion = m_typist->layoutVersion();
    }
    m_platform = load({m_displayName.isEmpty() ? nullptr : m_displayName.constData(), nullptr, false});
    m_platform->nativeInterface()->supressFlush(true);
}

std::unique_ptr<PlatformPlugin> Session::load(const PlatformPluginParameters& parameters)
{
    std::optional<StandardErrorCapture> capture(std::in_place);
    LoadedPlatform loaded = loadPlatform(m_options.platform.value_or(QStringLiteral("xlib")), parameters);
    loaded.errorText = capture->explain(loaded.errorText);
    capture.reset();
    qCDebug(sessionLog, "Loaded the platform plug-in for display %s: %s", m_displayName.constData(),
        loaded.plugin ? "done" : qPrintable(loaded.errorText));
    if (!loaded.plugin)
        throw Failure(ExitStatus::Unreachable, loaded.errorText);
    return std::move(loaded.plugin);
}

NativeInterface& Session::recordingNative()
{
    platform();
    if (m_remote == nullptr || !canOpenDisplay())
        return native();
    if (!m_recordingPlatform)
        m_recordingPlatform = load({m_displayName.constData(), nullptr, false});
    return *m_recordingPlatform->nativeInterface();
}

bool Session::canOpenDisplay()
{
    platform();
    if (m_options.platform)
        return false;
    const StandardErrorCapture capture;
    return m_remote == nullptr || DisplayCheck(m_displayName.constData()).errorText().isEmpty();
}

void Session::requireScreen(int screen)
{
    PointerWatch* watch = screen < 0 ? nullptr : pointerWatch();
    const int count = watch == nullptr ? screen + 1 : watch->screenCount();
    if (screen >= count) {
        throw operationFailure(QStringLiteral("Display '%1' has no screen %2; its last one is %3")
                                   .arg(QString::fromUtf8(m_displayName))
                                   .arg(screen)
                                   .arg(count - 1));
    }
}

PointerWatch* Session::pointerWatch()
{
    if (!m_pointerWatch && canOpenDisplay())
        m_pointerWatch = std::make_unique<PointerWatch>(m_displayName);
    return m_pointerWatch.get();
}

void Session::enterScreen(const Point& place)
{
    requireScreen(place.screen);
    PointerWatch* watch = pointerWatch();
    if (watch == nullptr)
        return;
    const int screen = place.screen < 0 ? watch->defaultScreen() : place.screen;
    const QSize size = watch->screenSize(screen);
    if (place.x < 0 || place.y < 0 || place.x >= size.width() || place.y >= size.height()) {
        throw operationFailure(QStringLiteral("%1,%2 is not on the screen, which has %3x%4 pixels")
                                   .arg(place.x)
                                   .arg(place.y)
                                   .arg(size.width())
                                   .arg(size.height()));
    }
    if (watch->screenCount() == 1)
        return;
    synchronize();
    if (watch->pointerScreen() != screen)
        require(native().pointerWarp({place.x, place.y, screen}));
}

void Session::movePointer(const QPoint& place)
{
    const Point point {place.x(), place.y(), -1};
    enterScreen(point);
    require(native().pointerMove(point));
}

void Session::synchronize()
{
    if (!tryToSynchronize())
        requireApplication();
}

void Session::finish()
{
    // The last command may have ended the application on purpose.
    if (!tryToSynchronize())
        detach();
}

/// False when the application has ended.
bool Session::tryToSynchronize()
{
    if (m_remote != nullptr) {
        const QString errorText = m_remote->synchronize();
        if (hasApplicationEnded())
            return false;
        requireApplication();
        require(errorText);
    } else if (m_platform) {
        // Flushing is suppressed in between to batch requests. A remote application has flushed before it
        // replies.
        m_platform->nativeInterface()->supressFlush(false);
        m_platform->nativeInterface()->supressFlush(true);
    }
    require(m_errors.take());
    return true;
}

bool Session::hasApplicationEnded() const
{
    return m_remote != nullptr && m_remote->hasEnded();
}

void Session::requireApplication(const ScriptPlace& place, bool mayEnd) const
{
    const QString text = m_remote != nullptr ? m_remote->disconnectReason() : QString();
    if (text.isEmpty())
        return;
    Failure failure(ExitStatus::ConnectionLost, text);
    failure.setPlace(place);
    if (mayEnd)
        failure.setApplicationEnd();
    throw Failure(failure);
}

bool Session::isGuiPlatform() const
{
    return m_options.platform
        || (m_remote != nullptr && m_remote->application().variant == QLatin1String("qt"));
}

void Session::waitForRelease(MouseButton::Value button)
{
    if (!tryToSynchronize())
        return;
    if (PointerWatch* watch = pointerWatch())
        watch->waitForRelease(button);
}

void Session::releaseHeldDown()
{
    if (!m_heldDown.isEmpty())
        m_heldDown.release(native());
}

void Session::wait(int milliseconds, int fileDescriptor)
{
    // Connect even if no other command of the script has.
    if (m_options.app)
        platform();
    // The timeout starts when the server has processed all requests.
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
    if (m_remote != nullptr)
        m_remote->setDisconnectListener([&loop] { loop.quit(); });
    loop.exec();
    if (m_remote != nullptr)
        m_remote->setDisconnectListener({});
    requireApplication();
}

void Session::requireNotInterrupted() const
{
    if (m_interruption.happened())
        throw operationFailure(QStringLiteral("Interrupted"));
}

void Session::setPlace(const ScriptPlace& place)
{
    m_output.setPlace(place);
    const std::lock_guard<std::mutex> lock(m_placeMutex);
    m_place = place;
}

void Session::end(ExitStatus status)
{
    // Never unlocked: a second thread must not report the same.
    m_placeMutex.lock();
    const QString text = status == ExitStatus::ConnectionLost
        ? QStringLiteral("The connection to display '%1' was lost")
        : QStringLiteral("Qt cannot run on display '%1'; is its xcb platform plug-in installed?");
    QString errorText = text.arg(QString::fromUtf8(m_displayName));
    if (m_startErrors)
        errorText = m_startErrors->explain(errorText);
    m_startErrors.reset();
    Failure failure(status, errorText);
    failure.setPlace(m_place);
    const int exitStatus = m_output.failure(failure);
    // Destructors would use the lost connection.
    cleanUpBeforeExit();
    _exit(exitStatus);
}

} // namespace Zendra::Runner
