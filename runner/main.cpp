// The command zendra.

#include <algorithm>
#include <csignal>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include "cli/application.h"
#include "cli/commandline.h"
#include "cli/failure.h"
#include "cli/output.h"
#include "cli/utf8.h"
#include "session/session.h"

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

/// The next file that is opened would get the number of a standard stream that is closed.
void openStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) == -1)
            open("/dev/null", O_RDONLY | O_CLOEXEC);
    }
}

/// Screenshots are blocks of megabytes. By default glibc returns them to the system, and the page faults of
/// the next one cost a quarter of a screenshot.
void keepFreedMemory()
{
    constexpr int largestOwnBlock = 32 << 20; // glibc's limit; enough for a screen of 3840x2160
    mallopt(M_MMAP_THRESHOLD, largestOwnBlock);
    mallopt(M_TRIM_THRESHOLD, 4 * largestOwnBlock);
}

int run(int& argc, char** argv, Options& options, Output& output)
{
    const QStringList words = toWords(argc, argv);
    options.json = false;
    const CommandPointer command = parseCommandLine(words, options);
    output.setJson(options.json);
    Session session(options, output);
    const ApplicationKind kind = command->needsFonts() ? ApplicationKind::Fonts : ApplicationKind::EventLoop;
    session.startApplication(command->needsGuiApplication(), kind, argc, argv);
    session.run(*command);
    session.finish();
    output.flush();
    return session.exitStatus();
}

} // namespace

int main(int argc, char** argv)
{
    // A closed pipe or connection, or a file that is too large, is reported by write().
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    openStandardStreams();
    keepFreedMemory();
    installMessageHandler();
    Options options;
    // Failures to read the arguments are reported in the requested format, too.
    options.json = std::any_of(
        argv, argv + argc, [](const char* argument) { return std::strcmp(argument, "--json") == 0; });
    Output output;
    try {
        return run(argc, argv, options, output);
    } catch (const Failure& failure) {
        output.setJson(options.json);
        return output.failure(failure);
    } catch (const std::bad_alloc&) {
        output.setJson(options.json);
        return output.failure(operationFailure(QStringLiteral("Out of memory")));
    } catch (const std::exception& error) {
        output.setJson(options.json);
        return output.failure(operationFailure(QString::fromUtf8(error.what())));
    }
}
