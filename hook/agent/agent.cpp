// Starts and stops the service inside a program.

#include "agent/../preload/agententry.h"

#include <atomic>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include <unistd.h>

#include <QEvent>
#include <QGuiApplication>
#include <QPointer>
#include <QSemaphore>
#include <QThread>

#include "service.h"
#include "threadsetup.h"

namespace Zendra::Agent
{

namespace
{

using ClaimThread = void (*)(void (*displayLost)(void));

/// How long the end of the process waits for an operation in progress.
constexpr unsigned long endTimeout = 3000; // milliseconds

/// How long the program waits for the service to start.
constexpr int startTimeout = 3000; // milliseconds

class AgentThread;
void registerExitHandler();

/// The one hook of the process.
struct Hook {
    QByteArray displayName; ///< of the program's first connection
    ClaimThread claimThread = nullptr;
    bool waitsForApplication = false; ///< registered applicationCreated()
    std::unique_ptr<Service> service; ///< on the GUI thread of a Qt application
    QPointer<QThread> operation;      ///< beside that
    AgentThread* thread = nullptr;    ///< in any other program; never deleted
    pid_t process = 0;                ///< that the hook runs in
};

Hook& hook()
{
    static Hook& theHook = *new Hook; // exit handlers use it
    return theHook;
}

void cannotStart(const QString& reason)
{
    std::fprintf(stderr, "zendra: The hook cannot start: %s\n", qPrintable(reason));
}

/// Blocks all signals in the calling thread and in those it creates, so that the program's handlers do not
/// run there.
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

private:
    Q_DISABLE_COPY(SignalsBlocked)

    sigset_t m_before {};
};

/// Qt needs an application object to deliver events. Its constructor warns outside the main thread and sets
/// the locale of the process; both are undone.
std::unique_ptr<QCoreApplication> makeApplication()
{
    static int argc = 1;
    static char* argv[] = {program_invocation_name, nullptr};
    const std::string locale = setlocale(LC_ALL, nullptr);
    const QtMessageHandler before
        = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    auto application = std::make_unique<QCoreApplication>(argc, argv);
    qInstallMessageHandler(before);
    setlocale(LC_ALL, locale.c_str());
    return application;
}

/// The thread of the pure variant.
///
/// Its event dispatcher is created before the application object. Otherwise a glib dispatcher would run the
/// program's default context, whose sources belong to the program's thread.
class AgentThread final : public QThread
{
public:
    /// With `waits`, returns when the service has started or failed to start.
    void startAndWait(bool waits)
    {
        const SignalsBlocked blocked;
        start();
        if (!waits)
            return;
        // Times out where the program connects while it loads a library: the loader's lock is held until this
        // returns.
        m_isReady.tryAcquire(1, startTimeout);
    }

    /// Ends the service unless a lost display has ended it.
    void end()
    {
        quit();
        if (!m_isParked && currentThread() != this)
            wait(endTimeout);
    }

protected:
    void run() override
    {
        hook().claimThread([] {
            if (hook().thread != nullptr)
                hook().thread->park();
        });
        std::unique_ptr<QCoreApplication> application;
        if (QCoreApplication::instance() == nullptr)
            application = makeApplication();
        serve();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

private:
    void serve()
    {
        Service service(Variant::Pure, hook().displayName);
        const QString errorText = service.start();
        if (!errorText.isEmpty())
            cannotStart(errorText);
        registerExitHandler();
        m_service = &service;
        m_isReady.release();
        if (errorText.isEmpty())
            exec();
        m_service = nullptr;
    }

    /// The display is lost. Called in this thread, which does not return from it.
    void park()
    {
        m_isParked = true;
        if (m_service != nullptr)
            m_service->close();
    }

    QSemaphore m_isReady;
    Service* m_service = nullptr;
    std::atomic_bool m_isParked {false};
};

/// Exit handler. A forked child has the hook's memory but not its threads, and Qt would wait for them for
/// ever. So it exits here; exit handlers registered before this one do not run in it.
void processEnds(int status, void* /*unused*/)
{
    if (getpid() != hook().process) {
        std::fflush(nullptr);
        _exit(status);
    }
    if (hook().thread != nullptr)
        hook().thread->end();
    if (hook().service == nullptr || hook().service->thread() != QThread::currentThread())
        return;
    hook().service->close();
    if (hook().operation != nullptr)
        hook().operation->wait(endTimeout);
}

/// Registers the exit handler. Called when Qt's threads exist, so that it runs before their own.
void registerExitHandler()
{
    if (hook().process != 0)
        return;
    hook().process = getpid();
    on_exit(&processEnds, nullptr);
}

void startThread(bool waits)
{
    if (hook().thread != nullptr)
        return;
    hook().thread = new AgentThread;
    hook().thread->startAndWait(waits);
}

/// The application object exists and its event loop runs.
void applicationRuns()
{
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr) {
        // Without Qt's GUI it may still connect to a display.
        if (!hook().displayName.isEmpty())
            startThread(true);
        return;
    }
    const QString platform = QGuiApplication::platformName();
    if (platform != QLatin1String("xcb")) {
        cannotStart(
            QStringLiteral("The application runs on the Qt platform '%1', not on X (xcb)").arg(platform));
        return;
    }
    if (hook().service != nullptr || hook().thread != nullptr)
        return;
    hook().service = std::make_unique<Service>(Variant::Qt, hook().displayName);
    const QString errorText = hook().service->start();
    if (!errorText.isEmpty())
        cannotStart(errorText);
    registerExitHandler();
    // Before the application object is destroyed, and with it the X connection.
    qAddPostRoutine([] { hook().service.reset(); });
}

/// Delivered when the event loop of the main thread runs.
class Start final : public QObject
{
public:
    Start() { moveToThread(QCoreApplication::instance()->thread()); }

protected:
    void customEvent(QEvent* /*event*/) override
    {
        applicationRuns();
        deleteLater();
    }
};

/// Called in the constructor of QCoreApplication.
void applicationCreated()
{
    QCoreApplication::postEvent(new Start, new QEvent(QEvent::User));
}

void onTrigger(const ZendraTrigger& trigger)
{
    hook().claimThread = trigger.claimThread;
    if (trigger.displayName != nullptr)
        hook().displayName = trigger.displayName;
    if (trigger.hasQt == 0) {
        startThread(trigger.isInXlib == 0);
        return;
    }
    if (!hook().waitsForApplication) {
        hook().waitsForApplication = true;
        qAddPreRoutine(&applicationCreated); // calls at once if there is one
    } else if (QCoreApplication::instance() != nullptr) {
        applicationCreated();
    }
}

} // namespace

void startWithSignalsBlocked(QThread& thread)
{
    const SignalsBlocked blocked;
    hook().operation = &thread;
    thread.start();
}

void claimXErrors()
{
    hook().claimThread([] {});
}

} // namespace Zendra::Agent

extern "C" Q_DECL_EXPORT void zendraAgent(const ZendraTrigger* trigger);

void zendraAgent(const ZendraTrigger* trigger)
{
    try {
        Zendra::Agent::onTrigger(*trigger);
    } catch (const std::exception& error) {
        Zendra::Agent::cannotStart(QString::fromLocal8Bit(error.what()));
    }
}
