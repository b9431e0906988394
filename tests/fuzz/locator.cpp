// Locators, and the names that they are compared with: the first line is the locator, the others are names.

#include "elements/locator.h"
#include "cli/failure.h"
#include "fuzz.h"

using namespace Zendra::Runner;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QStringList lines = QString::fromUtf8(Zendra::Tests::toBytes(data, size)).split(QLatin1Char('\n'));
    try {
        const Locator locator(lines.first());
        // What is printed of an element must be understood again.
        for (const QString& name : lines) {
            for (const LocatorStep& step : locator.steps()) {
                if (step.name)
                    step.name->matches(name);
            }
            const Locator again(QStringLiteral("button ") + quotedName(name));
            if (!normalizedName(name).isEmpty() && !again.steps().front().name->matches(name))
                std::abort();
        }
        locator.inside(Locator(QStringLiteral("window"))).withRoles({QStringLiteral("list")});
    } catch (const Failure&) {
        return 0;
    }
    return 0;
}
