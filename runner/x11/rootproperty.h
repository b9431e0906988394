#pragma once

#include <QByteArray>

struct _XDisplay;

namespace Zendra::Runner
{

/// The text in a property of the default root window; empty without it.
QByteArray readRootProperty(_XDisplay* display, const char* name);

void writeRootProperty(_XDisplay* display, const char* name, const QByteArray& text);

} // namespace Zendra::Runner
