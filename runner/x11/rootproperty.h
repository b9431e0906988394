#pragma once

#include <QByteArray>

#include "connection.h"

namespace Zendra::Runner
{

/// The text in a property of the default root window; empty without it.
QByteArray readRootProperty(const ConnectionPointer& connection, const char* name);

void writeRootProperty(const ConnectionPointer& connection, const char* name, const QByteArray& text);

} // namespace Zendra::Runner
