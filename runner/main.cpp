// The command zendra.

#include <csignal>
#include <memory>

#include <QCoreApplication>

#include "commandline.h"
#include "failure.h"
#include "output.h"
#include "session.h"
#include "utf8.h"

using namespace Zendra::Runner;

namespace
{

QStringList toWords(int argc, char** argv)
{
    QStringList words;
    for (int index = 1; index < argc; ++index)
        words.append(toText(argv[index], QStringLiteral("Argument %1").arg(index)));
    return words;
}

/// Qt's own event dispatcher starts faster than glib's. Programs started from here must not inherit the
/// choice.
std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv)
{
    const char* variable = "QT_NO_GLIB";
    const bool isUsersChoice = qEnvironmentVariableIsSet(variable);
    if (!isUsersChoice)
        qputenv(variable, "1");
    auto application = std::make_unique<QCoreApplication>(argc, argv);
    if (!isUsersChoice)
        qunsetenv(variable);
    return application;
}

void run(int& argc, char** argv, Options& options, Output& output)
{
    const CommandPointer command = parseCommandLine(toWords(argc, argv), options);
    output.setJson(options.json);
    const std::unique_ptr<QCoreApplication> application = makeApplication(argc, argv);
    Session session(options, output);
    session.run(*command);
    session.synchronize();
    output.flush();
}

} // namespace

int main(int argc, char** argv)
{
    // A closed pipe or connection is an error like any other.
    std::signal(SIGPIPE, SIG_IGN);
    Options options;
    Output output;
    try {
        run(argc, argv, options, output);
    } catch (const Failure& failure) {
        output.setJson(options.json);
        return output.failure(failure);
    }
    return static_cast<int>(ExitStatus::Done);
}
