// The command zendra.

#include <csignal>

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
    Session session(options, output);
    session.startApplication(
        command->needsGuiApplication() ? ApplicationKind::Gui : ApplicationKind::EventLoop, argc, argv);
    session.run(*command);
    session.synchronize();
    output.flush();
}

} // namespace

int main(int argc, char** argv)
{
    // A closed pipe or connection, or a file that is too large, is an error like any other.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
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
