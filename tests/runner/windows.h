#pragma once

#include "xserver.h"

namespace Zendra::Tests
{

/// How many top-level windows the first screen shows.
int visibleWindows(const Connection& connection);

} // namespace Zendra::Tests
