#pragma once

#include <cstdio>

#include <QString>

namespace Zendra::Agent
{

/// Tells the person at the program's terminal why something is not as expected, in one line.
inline void say(const QString& text)
{
    std::fprintf(stderr, "zendra: %s\n", qPrintable(text));
}

} // namespace Zendra::Agent
