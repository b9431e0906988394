#pragma once

#include <QStringList>

#include "types_x11.h"

struct _XGC;

namespace Zendra
{

/// Loads the connection's core font on first use: `name`, else "fixed". Where both are missing the next call
/// tries again.
void loadCoreFont(Display* display, const char* name);

/// Forgets the connection's fonts without an X request; its address may be reused for another connection.
void forgetFonts(Display* display);

/// Splits `text` at spaces into lines of about `width` characters. Longer words get a line of their own,
/// unbroken; all other lines end with a space, which may exceed the width by one.
QStringList softwrap(const QString& text, int width);

/// The length of the longest line; 0 when there is none.
int countMostCharsPerLine(const QStringList& lines);

/// Replaces `*pixmap` by a new one with the window's depth, filled with the GC's foreground.
void resizeTooltipBitmap(Display* display, XWindow window, XPixmap* pixmap, _XGC* gc, int width, int height);

} // namespace Zendra
