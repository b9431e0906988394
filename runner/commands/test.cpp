// The command 'test'.

#include <algorithm>
#include <random>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QThread>

#include "cli/arguments.h"
#include "cli/commandline.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "commands.h"
#include "session/session.h"
#include "suite/junit.h"
#include "suite/scriptfile.h"
#include "suite/testrunner.h"
#include "suite/testsuite.h"

namespace Zendra::Runner
{

namespace
{

constexpr int mostJobs = 256;
constexpr int mostRetries = 100;
constexpr double longestTimeout = 86'400;
constexpr int mostSeed = 1'000'000'000;

QJsonObject toObject(const TestResult& result)
{
    QJsonObject object {{QStringLiteral("test"), result.test.name},
        {QStringLiteral("file"), result.test.fileName}, {QStringLiteral("status"), toText(result.status)},
        {QStringLiteral("seconds"), result.seconds}, {QStringLiteral("attempts"), result.attempts}};
    if (!result.isGood())
        object.insert(QStringLiteral("message"), result.message);
    return object;
}

/// "login  failed  1.24 s"
QString toLine(const TestResult& result)
{
    const QString attempts
        = result.attempts > 1 ? QStringLiteral(", attempt %1").arg(result.attempts) : QString();
    return QStringLiteral("%1  %2 (%3 s%4)")
        .arg(toText(result.status).leftJustified(9), onOneLine(result.test.name))
        .arg(result.seconds, 0, 'f', 1)
        .arg(attempts);
}

/// The line of the script that a message begins with, as "FILE:LINE: …"; empty if there is none.
QString sourceLine(const TestResult& result)
{
    const QString start = result.message.section(QStringLiteral(": "), 0, 0);
    bool isNumber = false;
    const int number = start.section(QLatin1Char(':'), -1).toInt(&isNumber);
    QFile file(start.section(QLatin1Char(':'), 0, -2));
    if (!isNumber || number < 1 || !file.open(QIODevice::ReadOnly))
        return {};
    QByteArray line;
    for (int read = 0; read < number && !file.atEnd(); ++read)
        line = file.readLine();
    return onOneLine(QString::fromUtf8(line).trimmed());
}

class Test : public Command
{
public:
    void declare(Arguments& arguments) override
    {
        arguments.texts(
            "PATH...", m_paths, "scripts, or folders that contain scripts (*.zs)", Completion::FileName);
        arguments.number("-j N", m_jobs, {1, mostJobs}, "tests at a time (default: one for each processor)");
        arguments.text("--filter GLOB", m_filter, "only tests whose names match, such as 'login/*'");
        arguments.number("--retry N", m_settings.retries, {0, mostRetries},
            "attempts after a failure; a test that then passes is flaky");
        arguments.flag("--fail-fast", m_settings.failsFast, "start no more tests after a failure");
        arguments.seconds(
            "--timeout SECONDS", m_settings.timeout, longestTimeout, "for each attempt (default 300)");
        arguments.flagWithValue(
            "--shuffle[=SEED]", m_shuffle, "run them in random order; SEED repeats an order");
        arguments.text("--shard I/N", m_shard, "only part I of N, for several machines");
        arguments.text("--junit FILE", m_junit, "write the results as JUnit XML", Completion::FileName);
        arguments.text("--size WxH", m_size, "the size of each test's screen (default 1280x1024)");
        arguments.flag("--keep-home", m_settings.keepsHome, "use this HOME, not an empty one for each test");
        arguments.list("--set NAME=VALUE", m_settings.variables, "set a variable of the scripts");
        arguments.flag("--check", m_isCheck, "read and check all scripts, and run none");
    }

    void check() override
    {
        m_tests = findTests(m_paths);
        if (m_filter)
            m_tests = filtered(m_tests, *m_filter);
        if (m_tests.empty())
            throw usageFailure(
                QStringLiteral("No test's name matches '%1'").arg(m_filter.value_or(QString())));
        if (m_shard)
            m_tests = ofShard(m_tests, toShard(*m_shard));
        if (m_size) {
            toScreenSize(*m_size);
            m_settings.size = *m_size;
        }
        const Variables variables(m_settings.variables);
        if (m_isCheck)
            checkAll(variables);
        if (m_shuffle) {
            m_seed = m_shuffle->isEmpty() ? static_cast<int>(std::random_device()() % mostSeed)
                                          : toNumber(*m_shuffle, {0, mostSeed}, QStringLiteral("--shuffle"));
            shuffle(m_tests, static_cast<unsigned int>(m_seed));
        }
    }

    void adjust(Options& options) const override
    {
        if (options.app || options.headless || options.platform) {
            throw usageFailure(QStringLiteral(
                "Each test has an X server of its own; 'test' only knows --display, which runs them one by one on one"));
        }
        if (options.display && m_jobs.value_or(1) > 1)
            throw usageFailure(
                QStringLiteral("Tests on one display run one by one; -j cannot be combined with --display"));
    }

    void run(Session& session) const override
    {
        if (m_isCheck) {
            session.output().result(QStringLiteral("%1 scripts can be run").arg(m_tests.size()),
                {{QStringLiteral("checked"), static_cast<int>(m_tests.size())}});
            return;
        }
        TestSettings settings = m_settings;
        settings.display = QString::fromUtf8(session.displayName());
        settings.jobs
            = m_jobs.value_or(std::max(settings.display.isEmpty() ? QThread::idealThreadCount() : 1, 1));
        if (m_shuffle)
            session.output().result(
                QStringLiteral("Shuffled with --shuffle=%1").arg(m_seed), {{QStringLiteral("seed"), m_seed}});
        QElapsedTimer clock;
        clock.start();
        TestRunner runner(settings, m_tests);
        runAll(session, runner);
        const double seconds = static_cast<double>(clock.elapsed()) / 1000;
        summarize(session, runner.results(), seconds);
        session.output().flush();
        if (m_junit)
            writeJUnit(*m_junit, runner.results(), seconds);
        session.requireNotInterrupted();
    }

private:
    /// Throws a Failure with one for each wrong line of all scripts.
    void checkAll(const Variables& variables) const
    {
        std::vector<Failure> failures;
        for (const TestCase& test : m_tests) {
            try {
                readScript(test.fileName, variables);
            } catch (const Failure& failure) {
                failures.insert(failures.end(), failure.earlier().begin(), failure.earlier().end());
                failures.push_back(failure);
                failures.back().setEarlier({});
            }
        }
        if (failures.empty())
            return;
        Failure last = failures.back();
        failures.pop_back();
        last.setEarlier(std::move(failures));
        throw Failure(last);
    }

    void runAll(Session& session, TestRunner& runner) const
    {
        QEventLoop loop;
        const auto showProgress = [&] {
            session.output().progress(QStringLiteral("%1 of %2; running: %3")
                                          .arg(runner.results().size())
                                          .arg(m_tests.size())
                                          .arg(runner.running().join(QStringLiteral(", ")).left(100)));
        };
        QObject::connect(&runner, &TestRunner::testStarted, showProgress);
        QObject::connect(&runner, &TestRunner::testFinished, [&](const TestResult& result) {
            session.output().endProgress();
            session.output().result(toLine(result), toObject(result));
            session.output().flush();
            showProgress();
        });
        QObject::connect(&runner, &TestRunner::finished, &loop, &QEventLoop::quit);
        runner.start();
        session.run(loop);
        session.output().endProgress();
    }

    void summarize(Session& session, const std::vector<TestResult>& results, double seconds) const
    {
        QString text;
        int failed = 0;
        int flaky = 0;
        for (const TestResult& result : results) {
            flaky += result.status == TestStatus::Flaky ? 1 : 0;
            if (result.isGood())
                continue;
            ++failed;
            text += QStringLiteral("\n%1: %2\n  %3\n")
                        .arg(toText(result.status), onOneLine(result.test.name), onOneLine(result.message));
            const QString line = sourceLine(result);
            if (!line.isEmpty())
                text += QStringLiteral("  | %1\n").arg(line);
        }
        const int skipped = static_cast<int>(m_tests.size() - results.size());
        text += QStringLiteral("\n%1 passed, %2 failed")
                    .arg(static_cast<int>(results.size()) - failed)
                    .arg(failed);
        if (flaky > 0)
            text += QStringLiteral(", %1 flaky").arg(flaky);
        if (skipped > 0)
            text += QStringLiteral(", %1 not run").arg(skipped);
        text += QStringLiteral(" in %1 s").arg(seconds, 0, 'f', 1);
        session.output().result(text,
            {{QStringLiteral("tests"), static_cast<int>(m_tests.size())},
                {QStringLiteral("passed"), static_cast<int>(results.size()) - failed},
                {QStringLiteral("failed"), failed}, {QStringLiteral("flaky"), flaky},
                {QStringLiteral("notRun"), skipped}, {QStringLiteral("seconds"), seconds}});
        session.setExitStatus(failed > 0 ? static_cast<int>(ExitStatus::OperationFailed) : 0);
    }

    QStringList m_paths;
    std::optional<int> m_jobs;
    std::optional<QString> m_filter;
    std::optional<QString> m_shuffle;
    int m_seed = 0;
    std::optional<QString> m_shard;
    std::optional<QString> m_junit;
    std::optional<QString> m_size;
    bool m_isCheck = false;
    std::vector<TestCase> m_tests;
    TestSettings m_settings;
};

constexpr CommandInfo commands[] = {
    {"test", "runs scripts as tests, several at a time, and reports which failed",
        "Each test has a headless X server, a window manager and an empty HOME of its own, and the programs that it\n"
        "starts with 'start' have a session bus and an accessibility bus. A test passes if its script ends with status\n"
        "0. The exit status is 1 if a test has failed.",
        "zendra test tests/\n"
        "zendra test -j 4 --retry 1 --junit results.xml tests/\n"
        "zendra test --filter 'log*' --set URL=http://localhost:8080 tests/\n"
        "zendra test --check tests/",
        makeCommand<Test>},
};

} // namespace

CommandGroup testCommands()
{
    return makeGroup("Tests", commands);
}

} // namespace Zendra::Runner
