#pragma once

namespace Zendra::Runner
{

/// Initializes Xlib for several threads, each with its own connections. Must be called before any other use
/// of Xlib.
void allowThreads();

} // namespace Zendra::Runner
