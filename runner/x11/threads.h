#pragma once

namespace Zendra::Runner
{

/// Makes Xlib ready for several threads, each with connections of its own. To be called before anything else
/// uses Xlib.
void allowThreads();

} // namespace Zendra::Runner
