#pragma once

#include "cli/arguments.h"

namespace Zendra::Runner
{

/// The range of coordinates in the X protocol.
constexpr Range coordinateRange {-32768, 32767};
constexpr Range sizeRange {1, 32767};
constexpr Range screenRange {0, 255};

} // namespace Zendra::Runner
