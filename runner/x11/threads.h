#pragma once

#include "connection.h"

namespace Zendra::Runner
{

/// Initializes Xlib for several threads, each with its own connections. Must be called before any other use
/// of Xlib.
void allowThreads();

/// A connection that must stay open while connections with extensions are used by several threads. libXext
/// keeps a list of them for XGE, and frees it without a lock when the last one is closed.
ConnectionPointer openExtensionUser(const QByteArray& displayName);

} // namespace Zendra::Runner
