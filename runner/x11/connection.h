#pragma once

#include <memory>

#include <QByteArray>

struct _XDisplay;

namespace Zendra::Runner
{

struct CloseConnection {
    void operator()(_XDisplay* display) const;
};

/// A connection of the command's own, beside the plug-in's.
using ConnectionPointer = std::unique_ptr<_XDisplay, CloseConnection>;

/// Throws a Failure of status Unreachable when the display cannot be opened.
ConnectionPointer openConnection(const QByteArray& displayName);

int screenCount(const ConnectionPointer& connection);

} // namespace Zendra::Runner
