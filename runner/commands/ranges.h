#pragma once

#include "cli/arguments.h"

namespace Zendra::Runner
{

/// What fits into the X protocol's coordinates.
constexpr Range coordinateRange {-32768, 32767};
constexpr Range sizeRange {1, 32767};
constexpr Range screenRange {0, 255};

} // namespace Zendra::Runner
