// The lines of a script, up to the commands that they make.

#include "cli/command.h"
#include "cli/failure.h"
#include "cli/shellwords.h"
#include "fuzz.h"

using namespace Zendra::Runner;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    for (const QByteArray& line : Zendra::Tests::toBytes(data, size).split('\n')) {
        try {
            const QStringList words = splitShellWords(QString::fromUtf8(line), [](const QString& name) {
                return name == QLatin1String("UNKNOWN") ? throw usageFailure(name) : name;
            });
            if (words.isEmpty())
                continue;
            suggestCommandWords(words, {});
            // Files are not read: a script may name any.
            if (words.first() != QLatin1String("script") && words.first() != QLatin1String("run")
                && !words.contains(QStringLiteral("-")))
                parseCommand(words);
        } catch (const Failure&) {
            continue;
        }
    }
    return 0;
}
