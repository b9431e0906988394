// How the service starts and ends inside a program that knows nothing of it.

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

/// What a program may have to wait for at its end: an operation that is under way.
constexpr unsigned long endTimeout = 3000;

/// For the hook to be ready before the program goes on.
constexpr int startTimeout = 3000; // milliseconds

class AgentThread;
void awaitEnd();

/// One hook serves a process, however often and from wherever it is called.
struct Hook {
    QByteArray displayName; ///< of the program's first connection
    ClaimThread claimThread = nullptr;
    bool waitsForApplication = false; ///< told Qt to call when an application object is made
    std::unique_ptr<Service> service; ///< on the GUI thread of a Qt application
    QPointer<QThread> operation;      ///< beside that
    AgentThread* thread = nullptr;    ///< in any other program; never deleted
    pid_t process = 0;                ///< that the hook runs in
};

Hook& hook()
{
    static Hook& theHook = *new Hook; // outlives all that may come at the end of the process
    return theHook;
}

void cannotStart(const QString& reason)
{
    std::fprintf(stderr, "zendra: The hook cannot start: %s\n", qPrintable(reason));
}

/// Keeps the program's signals out of a thread that it does not know.
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

/// Qt wants an application object wherever events are delivered. Made on a thread other than the first it
/// warns, and it sets the process's locale, which is the program's business.
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
/// Its event dispatcher is made when the thread starts, before there is an application object in the process.
/// So even a dispatcher on glib runs a context of its own: the program's default context, whose sources
/// belong to the program's thread, is taken by nothing but the application object's own, later, choice.
class AgentThread final : public QThread
{
public:
    /// Returns when the thread serves, or has said why it does not.
    void startAndWait()
    {
        const SignalsBlocked blocked; // the new threads inherit it
        start();
        // Where the program connects while one of its libraries is being loaded, the loader's lock is held
        // until this returns, and the hook comes later.
        m_isReady.tryAcquire(1, startTimeout);
    }

    /// Ends the service, unless the display's loss has done so.
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
        awaitEnd();
        m_service = &service;
        m_isReady.release();
        if (errorText.isEmpty())
            exec();
        m_service = nullptr;
    }

    /// Called in this thread, which will not go on.
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

/// The process calls exit(). One that the program forked has the hook's memory but none of its threads, and
/// the end of Qt's would be waited for forever: it goes at once. What it had to do at its end itself it has
/// done by now; what was there before the hook is for the parent to do.
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

/// Called when Qt's threads have come to be, so that the call at the end comes before theirs.
void awaitEnd()
{
    if (hook().process != 0)
        return;
    hook().process = getpid();
    on_exit(&processEnds, nullptr);
}

void startThread()
{
    if (hook().thread != nullptr)
        return;
    hook().thread = new AgentThread;
    hook().thread->startAndWait();
}

/// The application object is there and its event loop runs.
void applicationRuns()
{
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr) {
        // Without a GUI of Qt's it may still use X; until then there is nothing to do.
        if (!hook().displayName.isEmpty())
            startThread();
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
    awaitEnd();
    // Before the application object goes, and with it the X connection.
    qAddPostRoutine([] { hook().service.reset(); });
}

/// Waits for the event loop of the application's first thread.
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
void applicationIsMade()
{
    QCoreApplication::postEvent(new Start, new QEvent(QEvent::User));
}

void onTrigger(const ZendraTrigger& trigger)
{
    hook().claimThread = trigger.claimThread;
    if (trigger.displayName != nullptr)
        hook().displayName = trigger.displayName;
    if (trigger.hasQt == 0) {
        startThread();
        return;
    }
    if (!hook().waitsForApplication) {
        hook().waitsForApplication = true;
        qAddPreRoutine(&applicationIsMade); // calls at once if there is one
    } else if (QCoreApplication::instance() != nullptr) {
        applicationIsMade();
    }
}

} // namespace

void startWithSignalsBlocked(QThread& thread)
{
    const SignalsBlocked blocked; // the new thread inherits it
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
