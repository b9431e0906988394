#pragma once

#include <QString>

#include "childprocess.h"

namespace Zendra::Runner
{

/// Catches what libraries write on standard error for the time of the object: libxcb says there why a server
/// refuses a connection.
class StandardErrorCapture
{
public:
    StandardErrorCapture();
    ~StandardErrorCapture();

    /// `errorText` with what has been written so far.
    QString explain(const QString& errorText) const;

private:
    Q_DISABLE_COPY(StandardErrorCapture)

    const FileDescriptor m_previous;
    const FileDescriptor m_captured;
};

} // namespace Zendra::Runner
