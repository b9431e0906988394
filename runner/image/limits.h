#pragma once

#include <QtGlobal>

namespace Zendra::Runner
{

/// More pixels than any screen has, for pictures that come from elsewhere: 256 MiB of them.
constexpr qint64 mostScreenPixels = qint64(1) << 26;

} // namespace Zendra::Runner
