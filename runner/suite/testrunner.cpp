#include "testrunner.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <utility>

#include <sys/prctl.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include "cli/failure.h"

namespace Zendra::Runner
{

namespace
{

constexpr int killDelay = 10'000; ///< milliseconds for a test to end its programs after SIGTERM
constexpr int largestOutput = 1 << 20;

/// Ends with this process, even when that is killed.
class TestProcess : public QProcess
{
protected:
    void setupChildProcess() override
    {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        setsid(); // Ctrl+C in the terminal is for the runner, which ends its tests
    }
};

/// The last line that reports a failure, without the name of the program.
QString failureIn(const QByteArray& errorOutput)
{
    const QByteArray prefix = "zendra: ";
    QList<QByteArray> lines = errorOutput.split('\n');
    const auto found = std::find_if(lines.crbegin(), lines.crend(),
        [&prefix](const QByteArray& line) { return line.startsWith(prefix); });
    return found == lines.crend() ? QString() : QString::fromUtf8(found->mid(prefix.size()));
}

} // namespace

QString toText(TestStatus status)
{
    switch (status) {
    case TestStatus::Passed:
        return QStringLiteral("passed");
    case TestStatus::Flaky:
        return QStringLiteral("flaky");
    case TestStatus::Failed:
        return QStringLiteral("failed");
    case TestStatus::TimedOut:
        return QStringLiteral("timed out");
    case TestStatus::Crashed:
        break;
    }
    return QStringLiteral("crashed");
}

/// One run of a test.
class TestRunner::Attempt
{
public:
    Attempt(TestRunner& runner, const TestCase& test, int number)
        : m_settings(runner.m_settings)
    {
        m_result.test = test;
        m_result.attempts = number;
        if (!m_settings.keepsHome && !m_home.isValid())
            throw operationFailure(QStringLiteral("Cannot make a home folder: %1").arg(m_home.errorString()));
        m_process.setProcessEnvironment(environment());
        m_process.setStandardInputFile(QProcess::nullDevice());
        QObject::connect(&m_process, &QProcess::readyReadStandardOutput,
            [this] { keep(m_process.readAllStandardOutput()); });
        QObject::connect(&m_process, &QProcess::readyReadStandardError, [this] {
            const QByteArray bytes = m_process.readAllStandardError();
            m_errorOutput = (m_errorOutput + bytes).right(largestOutput);
            keep(bytes);
        });
        const auto take = [this, &runner] { runner.take(this); };
        QObject::connect(&m_process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &m_process,
            take, Qt::QueuedConnection);
        QObject::connect(
            &m_process, &QProcess::errorOccurred, &m_process,
            [take](QProcess::ProcessError error) {
                if (error == QProcess::FailedToStart)
                    take();
            },
            Qt::QueuedConnection);
        QObject::connect(&m_timeout, &QTimer::timeout, [this] {
            m_hasTimedOut = true;
            end();
        });
        QObject::connect(&m_kill, &QTimer::timeout, &m_process, &QProcess::kill);
        m_kill.setSingleShot(true);
        m_timeout.setSingleShot(true);
        m_timeout.start(static_cast<int>(m_settings.timeout * 1000));
        m_clock.start();
        m_process.start(QCoreApplication::applicationFilePath(), words());
    }

    ~Attempt()
    {
        m_process.disconnect();
        if (m_process.state() == QProcess::NotRunning)
            return;
        terminate();
        if (!m_process.waitForFinished(killDelay)) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }

    const TestCase& test() const { return m_result.test; }
    /// Only once: the second signal ends a command without the time to end its programs.
    void terminate()
    {
        if (!std::exchange(m_isTerminated, true))
            m_process.terminate();
    }

    TestResult result()
    {
        m_result.seconds = static_cast<double>(m_clock.elapsed()) / 1000;
        m_result.output = m_output;
        if (m_process.error() == QProcess::FailedToStart) {
            m_result.message = m_process.errorString();
            return m_result;
        }
        if (m_hasTimedOut) {
            m_result.status = TestStatus::TimedOut;
            m_result.message = QStringLiteral("It took longer than %1 s").arg(m_settings.timeout);
        } else if (m_process.exitStatus() == QProcess::CrashExit) {
            m_result.status = TestStatus::Crashed;
            m_result.message = QStringLiteral("zendra was ended by signal %1 (%2)")
                                   .arg(m_process.exitCode())
                                   .arg(QString::fromLocal8Bit(strsignal(m_process.exitCode())));
        } else if (m_process.exitCode() == 0) {
            m_result.status = TestStatus::Passed;
            return m_result;
        }
        const QString failure = failureIn(m_errorOutput);
        if (m_result.message.isEmpty())
            m_result.message = failure;
        if (m_result.message.isEmpty())
            m_result.message = QStringLiteral("zendra ended with status %1").arg(m_process.exitCode());
        return m_result;
    }

private:
    QStringList words() const
    {
        QStringList words;
        if (!m_settings.display.isEmpty())
            words << QStringLiteral("--display") << m_settings.display;
        else
            words << (m_settings.size.isEmpty() ? QStringLiteral("--headless")
                                                : QStringLiteral("--headless=") + m_settings.size);
        words << QStringLiteral("script");
        for (const QString& variable : m_settings.variables)
            words << QStringLiteral("--set") << variable;
        return words << QStringLiteral("--") << m_result.test.fileName;
    }

    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (m_settings.display.isEmpty()) {
            // Of the desktop: programs must not find its windows and services.
            for (const char* name : {"DISPLAY", "XAUTHORITY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS",
                     "AT_SPI_BUS_ADDRESS", "SESSION_MANAGER"})
                environment.remove(QLatin1String(name));
        }
        if (m_settings.keepsHome)
            return environment;
        const QDir home(m_home.path());
        environment.insert(QStringLiteral("HOME"), home.path());
        const std::pair<const char*, const char*> folders[]
            = {{"XDG_CONFIG_HOME", ".config"}, {"XDG_CACHE_HOME", ".cache"},
                {"XDG_DATA_HOME", ".local/share"}, {"XDG_STATE_HOME", ".local/state"}};
        for (const auto& [name, folder] : folders) {
            home.mkpath(QLatin1String(folder));
            environment.insert(QLatin1String(name), home.filePath(QLatin1String(folder)));
        }
        return environment;
    }

    void keep(const QByteArray& bytes) { m_output += bytes.left(largestOutput - m_output.size()); }

    void end()
    {
        terminate();
        m_kill.start(killDelay);
    }

    const TestSettings& m_settings;
    TestResult m_result;
    QTemporaryDir m_home;
    QElapsedTimer m_clock;
    QTimer m_timeout;
    QTimer m_kill;
    bool m_hasTimedOut = false;
    bool m_isTerminated = false;
    QByteArray m_output;
    QByteArray m_errorOutput;
    TestProcess m_process; // ends first
};

TestRunner::TestRunner(TestSettings settings, std::vector<TestCase> tests)
    : m_settings(std::move(settings))
    , m_tests(std::move(tests))
{
    m_start.setSingleShot(true);
    connect(&m_start, &QTimer::timeout, this, &TestRunner::startNext);
}

TestRunner::~TestRunner()
{
    // All at the same time, not one after the other.
    for (const auto& attempt : m_running)
        attempt->terminate();
}

void TestRunner::start()
{
    m_start.start();
}

QStringList TestRunner::running() const
{
    QStringList names;
    for (const auto& attempt : m_running)
        names.append(attempt->test().name);
    return names;
}

void TestRunner::startNext()
{
    while (!m_isStopped && m_next < m_tests.size()
        && m_running.size() < static_cast<std::size_t>(m_settings.jobs)) {
        m_running.push_back(std::make_unique<Attempt>(*this, m_tests[m_next++], 1));
        Q_EMIT testStarted();
    }
    if (m_running.empty())
        Q_EMIT finished();
}

void TestRunner::take(Attempt* attempt)
{
    const auto place = std::find_if(m_running.begin(), m_running.end(),
        [attempt](const std::unique_ptr<Attempt>& running) { return running.get() == attempt; });
    if (place == m_running.end())
        return;
    TestResult result = attempt->result();
    // Not deleted in a call from its own process, but by the next one.
    m_ended = std::move(*place);
    m_running.erase(place);
    if (!result.isGood() && result.attempts <= m_settings.retries && !m_isStopped) {
        m_running.push_back(std::make_unique<Attempt>(*this, result.test, result.attempts + 1));
        return;
    }
    if (result.isGood() && result.attempts > 1)
        result.status = TestStatus::Flaky;
    m_results.push_back(result);
    m_isStopped = m_isStopped || (m_settings.failsFast && !result.isGood());
    Q_EMIT testFinished(m_results.back());
    startNext();
}

} // namespace Zendra::Runner
