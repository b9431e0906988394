#pragma once

#include <QStringList>

#include "types_x11.h"

struct _XGC;

namespace Zendra
{

/// Loads the connection's core font on first use: `name`, else "fixed". Where both are missing the next call
/// tries again.
void loadCoreFont(Display* display, const char* name);

/// Forgets the connection's fonts, without a request: another connection may get its address.
void forgetFonts(Display* display);

/// Splits `text` at spaces into lines of about `width` characters. Words that are longer stand alone and
/// unbroken; all other lines end with a space, which may be the one that is too many.
QStringList softwrap(const QString& text, int width);

/// The length of the longest line; 0 when there is none.
int countMostCharsPerLine(const QStringList& lines);

/// Replaces `*pixmap` by a new one with the window's depth, filled with the GC's foreground.
void resizeTooltipBitmap(Display* display, XWindow window, XPixmap* pixmap, _XGC* gc, int width, int height);

} // namespace Zendra
