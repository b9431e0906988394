#pragma once

#include <vector>

#include <QRect>

#include "connection.h"

namespace Zendra::Runner
{

/// Watches what is drawn on the default screen, on a connection of its own.
class DamageWatch
{
public:
    /// Throws a Failure of status OperationFailed without the extension DAMAGE.
    explicit DamageWatch(const QByteArray& displayName);

    /// The areas that have changed since the last call.
    std::vector<QRect> take();
    /// Readable when there may be new ones.
    int fileDescriptor() const;

private:
    Q_DISABLE_COPY(DamageWatch)

    const ConnectionPointer m_connection;
    int m_firstEvent = 0;
    unsigned long m_damage = 0;
};

} // namespace Zendra::Runner
