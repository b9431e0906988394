#pragma once

#include <QtGlobal>

namespace Zendra::Runner
{

/// More pixels than any screen has, for pictures that come from elsewhere: 256 MiB of them.
#ifndef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr qint64 mostScreenPixels = qint64(1) << 26;
#else
constexpr qint64 mostScreenPixels = qint64(1) << 16; // some thousand inputs a second
#endif

} // namespace Zendra::Runner
