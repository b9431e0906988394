#pragma once

#include <memory>
#include <vector>

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include "testsuite.h"

namespace Zendra::Runner
{

enum class TestStatus { Passed, Flaky, Failed, TimedOut, Crashed };

/// "passed", "flaky", …
QString toText(TestStatus status);

struct TestResult {
    TestCase test;
    TestStatus status = TestStatus::Failed;
    int attempts = 1;
    double seconds = 0; ///< of the last attempt
    QString message;    ///< why it failed the last time
    QByteArray output;  ///< of its programs and commands, without what exceeds a limit

    bool isGood() const { return status == TestStatus::Passed || status == TestStatus::Flaky; }
};

struct TestSettings {
    int jobs = 1;
    int retries = 0;
    bool failsFast = false;
    bool keepsHome = false;
    double timeout = 300;  ///< seconds for each attempt
    QString size;          ///< of the headless screen, "WxH" or "WxHxD"; empty for the default
    QString display;       ///< that all tests share; empty for one of their own
    QStringList variables; ///< "NAME=VALUE"
};

/// Runs tests, several at a time, each in a process of its own: this program with the command 'script'.
class TestRunner : public QObject
{
    Q_OBJECT

public:
    TestRunner(TestSettings settings, std::vector<TestCase> tests);
    /// Ends the tests that are running.
    ~TestRunner() override;

    /// Emits finished() later, also if there are no tests.
    void start();
    const std::vector<TestResult>& results() const { return m_results; }
    /// The names of the tests that are running.
    QStringList running() const;

Q_SIGNALS:
    void testStarted();
    void testFinished(const Zendra::Runner::TestResult& result);
    void finished();

private:
    class Attempt;

    void startNext();
    void take(Attempt* attempt);

    const TestSettings m_settings;
    const std::vector<TestCase> m_tests;
    QTimer m_start;
    std::size_t m_next = 0;
    bool m_isStopped = false;
    std::vector<std::unique_ptr<Attempt>> m_running;
    std::unique_ptr<Attempt> m_ended;
    std::vector<TestResult> m_results;
};

} // namespace Zendra::Runner
