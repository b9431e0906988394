// The command zendra.

#include <csignal>
#include <memory>

#include <QCoreApplication>

#include "application.h"
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

void run(int& argc, char** argv, Options& options, Output& output)
{
    const CommandPointer command = parseCommandLine(toWords(argc, argv), options);
    output.setJson(options.json);
    std::unique_ptr<QCoreApplication> application; // outlives the session, whose display it may need first
    Session session(options, output);
    const bool needsGui = command->needsGuiApplication();
    if (needsGui)
        session.prepareGui();
    application = makeApplication(needsGui ? ApplicationKind::Gui : ApplicationKind::EventLoop, argc, argv);
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
