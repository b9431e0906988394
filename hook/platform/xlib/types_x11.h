#pragma once

// Declarations of the X types that the plug-in's headers use, which keep Xlib.h and its macros in sources.

struct _XDisplay;
using Display = struct _XDisplay;
union _XEvent;
using XEvent = union _XEvent;
struct _XImage;
using XImage = struct _XImage;
struct _XkbDesc;

namespace Zendra
{

using XWindow = unsigned long;
using XPixmap = unsigned long;
using XAtom = unsigned long;
using XKeySym = unsigned long;
using XDamageId = unsigned long;
using XServerRegion = unsigned long;
/// Xlib's own type is anonymous and cannot be forward-declared.
using XVisual = void;

} // namespace Zendra
